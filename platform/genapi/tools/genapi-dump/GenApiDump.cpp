// genapi-dump: loads a description file (plain or zipped XML) and prints its feature tree
// with each node's interface, access mode and value. Device ports are connected to a blank
// register space held in memory, so values are what a device with zeroed registers reports.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <unordered_set>

#include <GenApi/GenApi.h>

using namespace GenApi;

namespace {

class BlankPort : public IPort {
public:
    EAccessMode GetAccessMode() const override { return RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        auto* bytes = static_cast<uint8_t*>(buffer);
        for (int64_t index = 0; index < length; ++index) {
            const auto found = m_bytes.find(address + index);
            bytes[index] = found == m_bytes.end() ? 0 : found->second;
        }
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        const auto* bytes = static_cast<const uint8_t*>(buffer);
        for (int64_t index = 0; index < length; ++index) m_bytes[address + index] = bytes[index];
    }

private:
    std::map<int64_t, uint8_t> m_bytes;
};

struct Options {
    bool values = true;
    bool all = false;
    bool connect = true;
    const char* root = "Root";
    const char* path = nullptr;
};

const char* InterfaceName(EInterfaceType type) {
    switch (type) {
    case intfIInteger: return "Integer";
    case intfIFloat: return "Float";
    case intfIBoolean: return "Boolean";
    case intfICommand: return "Command";
    case intfIString: return "String";
    case intfIRegister: return "Register";
    case intfICategory: return "Category";
    case intfIEnumeration: return "Enumeration";
    case intfIEnumEntry: return "EnumEntry";
    case intfIPort: return "Port";
    default: return "Value";
    }
}

std::string ValueText(INode* node) {
    if (!IsReadable(node)) return std::string();
    const EInterfaceType type = node->GetPrincipalInterfaceType();
    if (type == intfICategory || type == intfICommand || type == intfIPort) return std::string();
    try {
        CValuePtr value(node);
        if (!value) return std::string();
        std::string text = value->ToString().c_str();
        if (CIntegerPtr integer = node) {
            char range[64];
            std::snprintf(range, sizeof range, " [%lld..%lld]", static_cast<long long>(integer->GetMin()),
                          static_cast<long long>(integer->GetMax()));
            text += range;
        }
        if (CEnumerationPtr enumeration = node) {
            StringList_t symbolics;
            enumeration->GetSymbolics(symbolics);
            text += " {";
            for (size_t index = 0; index < symbolics.size(); ++index) {
                if (index > 0) text += ',';
                text += symbolics[index].c_str();
            }
            text += "}";
        }
        const GenICam::gcstring unit = type == intfIFloat ? CFloatPtr(node)->GetUnit() : (type == intfIInteger ? CIntegerPtr(node)->GetUnit() : "");
        if (!unit.empty()) {
            text += ' ';
            text += unit.c_str();
        }
        return text;
    } catch (const GenICam::GenericException& error) {
        return std::string("<") + error.GetDescription() + ">";
    }
}

void Print(INode* node, int depth, const Options& options, std::unordered_set<INode*>& printed) {
    const bool again = !printed.insert(node).second;
    std::printf("%*s%s  %s  %s", depth * 2, "", node->GetName().c_str(), InterfaceName(node->GetPrincipalInterfaceType()),
                EAccessModeClass::ToString(node->GetAccessMode()).c_str());
    if (options.values) {
        const std::string value = ValueText(node);
        if (!value.empty()) std::printf("  = %s", value.c_str());
    }
    std::printf("%s\n", again ? "  (see above)" : "");
    if (again || depth > 64) return;
    if (CCategoryPtr category = node) {
        FeatureList_t features;
        category->GetFeatures(features);
        for (IValue* feature : features) Print(feature->GetNode(), depth + 1, options, printed);
    }
}

int Usage() {
    std::fprintf(stderr,
                 "usage: genapi-dump [--no-values] [--no-port] [--all] [--root CATEGORY] FILE\n"
                 "  FILE is a description file, plain XML or a zip archive holding one.\n"
                 "  --no-values  print names, interfaces and access modes only\n"
                 "  --no-port    leave device ports unconnected\n"
                 "  --all        also list the nodes no category reaches\n");
    return 2;
}

} // namespace

int main(int argumentCount, char** arguments) {
    Options options;
    for (int index = 1; index < argumentCount; ++index) {
        const char* argument = arguments[index];
        if (std::strcmp(argument, "--no-values") == 0) options.values = false;
        else if (std::strcmp(argument, "--no-port") == 0) options.connect = false;
        else if (std::strcmp(argument, "--all") == 0) options.all = true;
        else if (std::strcmp(argument, "--root") == 0 && index + 1 < argumentCount) options.root = arguments[++index];
        else if (argument[0] == '-') return Usage();
        else options.path = argument;
    }
    if (options.path == nullptr) return Usage();

    try {
        CNodeMapFactory factory(ContentType_Auto, options.path);
        INodeMap* map = factory.CreateNodeMap();
        BlankPort port;
        NodeList_t nodes;
        map->GetNodes(nodes);
        if (options.connect) {
            for (INode* node : nodes) {
                if (node->GetPrincipalInterfaceType() == intfIPort && node->GetEventID().empty())
                    map->Connect(&port, node->GetName());
            }
        }
        std::printf("%s: %llu nodes\n", options.path, static_cast<unsigned long long>(map->GetNumNodes()));
        std::unordered_set<INode*> printed;
        if (INode* root = map->GetNode(options.root)) Print(root, 0, options, printed);
        else std::printf("(no category '%s')\n", options.root);
        if (options.all) {
            std::printf("-- nodes outside the category tree --\n");
            for (INode* node : nodes)
                if (printed.count(node) == 0) Print(node, 0, options, printed);
        }
        dynamic_cast<IDestroy*>(map)->Destroy();
    } catch (const GenICam::GenericException& error) {
        std::fprintf(stderr, "genapi-dump: %s\n", error.GetDescription());
        return 1;
    }
    return 0;
}
