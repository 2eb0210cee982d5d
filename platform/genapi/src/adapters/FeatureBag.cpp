#include <GenApi/FeatureBag.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <sstream>
#include <unordered_set>

#include <GenApi/Pointer.h>

namespace GenApi {

namespace {

// Integer selectors with more values than this are not swept.
constexpr int64_t kMaximumSelectorSweep = 64;

bool Persistable(INode* node) {
    if (node == nullptr || !node->IsStreamable()) return false;
    switch (node->GetPrincipalInterfaceType()) {
    case intfIInteger:
    case intfIFloat:
    case intfIBoolean:
    case intfIString:
    case intfIEnumeration:
    case intfIRegister:
        break;
    default:
        return false;
    }
    return IsReadable(node) && IsWritable(node);
}

// Streamable nodes in the order of the category tree below Root, then any others in map order.
std::vector<INode*> OrderedNodes(INodeMap* map) {
    std::vector<INode*> ordered;
    std::unordered_set<INode*> seen;
    std::vector<INode*> stack;
    if (INode* root = map->GetNode("Root")) stack.push_back(root);
    while (!stack.empty()) {
        INode* node = stack.back();
        stack.pop_back();
        if (!seen.insert(node).second) continue;
        ordered.push_back(node);
        if (CCategoryPtr category = node) {
            FeatureList_t features;
            category->GetFeatures(features);
            for (auto feature = features.rbegin(); feature != features.rend(); ++feature) stack.push_back((*feature)->GetNode());
        }
    }
    NodeList_t all;
    map->GetNodes(all);
    for (INode* node : all)
        if (seen.insert(node).second) ordered.push_back(node);
    return ordered;
}

} // namespace

int64_t CFeatureBag::StoreFromNodeMap(INodeMap* pNodeMap, const int MaxNumPersistSkriptEntries) {
    if (pNodeMap == nullptr) throw INVALID_ARGUMENT_EXCEPTION("Node map is null");
    AutoLock lock(pNodeMap->GetLock());
    m_entries.clear();
    auto full = [&] { return MaxNumPersistSkriptEntries >= 0 && static_cast<int64_t>(m_entries.size()) >= MaxNumPersistSkriptEntries; };
    auto add = [&](INode* node) {
        if (full()) return;
        m_entries.emplace_back(node->GetName().str(), CValuePtr(node)->ToString().str());
    };

    const std::vector<INode*> nodes = OrderedNodes(pNodeMap);
    // Features a persistable selector chooses are stored once per selector value, inside its sweep.
    std::unordered_set<INode*> swept;
    for (INode* node : nodes) {
        CSelectorPtr selector = node;
        if (!Persistable(node) || !selector || !selector->IsSelector()) continue;
        FeatureList_t selected;
        selector->GetSelectedFeatures(selected);
        for (IValue* value : selected) swept.insert(value->GetNode());
    }

    for (INode* node : nodes) {
        if (full()) break;
        if (!Persistable(node) || swept.count(node) != 0) continue;
        CSelectorPtr selector = node;
        if (!selector->IsSelector()) {
            add(node);
            continue;
        }
        FeatureList_t selected;
        selector->GetSelectedFeatures(selected);
        const GenICam::gcstring original = CValuePtr(node)->ToString();
        std::vector<GenICam::gcstring> values;
        if (CEnumerationPtr enumeration = node) {
            StringList_t symbolics;
            enumeration->GetSymbolics(symbolics);
            values.assign(symbolics.begin(), symbolics.end());
        } else if (CIntegerPtr integer = node) {
            const int64_t minimum = integer->GetMin();
            const int64_t maximum = integer->GetMax();
            const int64_t increment = std::max<int64_t>(1, integer->GetInc());
            if (maximum >= minimum && (maximum - minimum) / increment < kMaximumSelectorSweep)
                for (int64_t value = minimum; value <= maximum; value += increment) values.push_back(std::to_string(value));
        }
        if (values.empty()) values.push_back(original);
        for (const GenICam::gcstring& value : values) {
            try {
                CValuePtr(node)->FromString(value);
            } catch (const GenICam::GenericException&) {
                continue;
            }
            add(node);
            for (IValue* feature : selected)
                if (Persistable(feature->GetNode())) add(feature->GetNode());
        }
        CValuePtr(node)->FromString(original);
        add(node);
    }
    return static_cast<int64_t>(m_entries.size());
}

bool CFeatureBag::LoadFromBag(INodeMap* pNodeMap, bool Verify, GenICam::gcstring_vector* pErrorList) {
    if (pNodeMap == nullptr) throw INVALID_ARGUMENT_EXCEPTION("Node map is null");
    bool success = true;
    auto fail = [&](const std::string& message) {
        success = false;
        if (pErrorList != nullptr) pErrorList->push_back(message);
    };
    for (const auto& [name, value] : m_entries) {
        INode* node = pNodeMap->GetNode(name);
        if (node == nullptr) {
            fail("Node '" + name + "' does not exist");
            continue;
        }
        CValuePtr target = node;
        if (!target || !IsWritable(node)) {
            fail("Node '" + name + "' is not writable");
            continue;
        }
        try {
            target->FromString(value, Verify);
        } catch (const GenICam::GenericException& error) {
            fail(error.GetDescription());
        }
    }
    return success;
}

GenICam::gcstring CFeatureBag::ToString() {
    std::ostringstream text;
    text << *this;
    return text.str();
}

std::ostream& operator<<(std::ostream& stream, const CFeatureBag& bag) {
    stream << "# GenApi persistence file (version 3.3)\n";
    if (!bag.m_bagName.empty()) stream << "# Bag = " << bag.m_bagName << "\n";
    for (const auto& [name, value] : bag.m_entries) stream << name << '\t' << value << '\n';
    return stream;
}

std::istream& operator>>(std::istream& stream, CFeatureBag& bag) {
    bag.m_entries.clear();
    std::string line;
    while (std::getline(stream, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        if (line[0] == '#') {
            const std::string prefix = "# Bag = ";
            if (line.rfind(prefix, 0) == 0) bag.m_bagName = line.substr(prefix.size());
            continue;
        }
        const size_t separator = line.find_first_of("\t ");
        if (separator == std::string::npos) {
            bag.m_entries.emplace_back(line, std::string());
            continue;
        }
        size_t valueStart = separator + 1;
        if (line[separator] == ' ') valueStart = line.find_first_not_of(' ', separator);
        bag.m_entries.emplace_back(line.substr(0, separator), valueStart == std::string::npos ? "" : line.substr(valueStart));
    }
    stream.clear(std::ios::eofbit);
    return stream;
}

} // namespace GenApi
