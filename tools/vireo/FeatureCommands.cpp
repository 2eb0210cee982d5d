#include "FeatureCommands.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>

#include <GenApi/GenApi.h>

#include "Camera.h"
#include "Table.h"
#include "ToolError.h"

namespace VireoTool {
namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

const char* TypeName(GenApi::EInterfaceType type) {
    switch (type) {
    case GenApi::intfIInteger: return "Integer";
    case GenApi::intfIFloat: return "Float";
    case GenApi::intfIBoolean: return "Boolean";
    case GenApi::intfICommand: return "Command";
    case GenApi::intfIString: return "String";
    case GenApi::intfIRegister: return "Register";
    case GenApi::intfICategory: return "Category";
    case GenApi::intfIEnumeration: return "Enumeration";
    case GenApi::intfIEnumEntry: return "EnumEntry";
    case GenApi::intfIPort: return "Port";
    default: return "Value";
    }
}

const char* AccessName(GenApi::EAccessMode mode) {
    switch (mode) {
    case GenApi::NI: return "NI";
    case GenApi::NA: return "NA";
    case GenApi::WO: return "WO";
    case GenApi::RO: return "RO";
    case GenApi::RW: return "RW";
    default: return "?";
    }
}

// What the features table shows as a node's value: never throws, since one unreadable
// feature must not hide the rest of the tree.
std::string DisplayValue(GenApi::INode* node) {
    const GenApi::EInterfaceType type = node->GetPrincipalInterfaceType();
    if (type == GenApi::intfICategory || type == GenApi::intfICommand) return "";
    if (!GenApi::IsReadable(node)) return "-";
    auto* value = dynamic_cast<GenApi::IValue*>(node);
    if (value == nullptr) return "";
    try {
        std::string text = OneLine(value->ToString().c_str());
        constexpr size_t kLongest = 60;
        if (text.size() > kLongest) text = text.substr(0, kLongest - 3) + "...";
        return text;
    } catch (const std::exception&) {
        return "(unreadable)";
    }
}

// Adds the node's row and those of its features to the table; with a filter, only rows
// that match or lead to a match. Returns whether anything was added.
bool AddFeatureRows(GenApi::INode* node, int depth, const std::string& filter, bool ancestorMatched, Table& table,
                    std::set<GenApi::INode*>& visited) {
    if (!visited.insert(node).second) return false;  // a category listed twice, or a cycle
    const std::string name = node->GetName().c_str();
    const bool matched = ancestorMatched || filter.empty() || Lower(name).find(filter) != std::string::npos;
    const std::string indent(size_t(depth) * 2, ' ');
    const GenApi::EInterfaceType type = node->GetPrincipalInterfaceType();
    const size_t rowIndex = table.RowCount();
    table.AddRow({indent + name, TypeName(type), AccessName(node->GetAccessMode()), DisplayValue(node)});

    bool anyChild = false;
    if (auto* category = dynamic_cast<GenApi::ICategory*>(node)) {
        GenApi::FeatureList_t features;
        category->GetFeatures(features);
        // A matching category keeps everything below it.
        const bool categoryMatched = matched && !filter.empty();
        for (GenApi::IValue* feature : features)
            if (feature != nullptr && feature->GetNode() != nullptr)
                anyChild |= AddFeatureRows(feature->GetNode(), depth + 1, filter, categoryMatched || ancestorMatched,
                                           table, visited);
    }
    if (matched || anyChild) return true;
    table.RemoveRowsFrom(rowIndex);
    return false;
}

GenApi::INode* FindFeature(OpenCamera& camera, const std::string& name) {
    GenApi::INode* node = camera.Features().GetNode(name.c_str());
    if (node == nullptr) throw ToolError("no feature named '" + name + "' on camera " + camera.Serial());
    return node;
}

// Why a node cannot be read or written, or empty when it can.
std::string AccessProblem(GenApi::INode* node, bool writing) {
    const std::string name = node->GetName().c_str();
    if (!GenApi::IsImplemented(node)) return name + " is not implemented by this camera";
    if (!GenApi::IsAvailable(node)) return name + " is not available in the camera's current state";
    if (writing && !GenApi::IsWritable(node)) return name + " is not writable (access " + AccessName(node->GetAccessMode()) + ")";
    if (!writing && !GenApi::IsReadable(node)) return name + " is not readable (access " + AccessName(node->GetAccessMode()) + ")";
    return "";
}

std::string ReadValue(GenApi::INode* node) {
    const std::string name = node->GetName().c_str();
    const GenApi::EInterfaceType type = node->GetPrincipalInterfaceType();
    if (type == GenApi::intfICategory) throw ToolError(name + " is a category; 'vireo features' lists what it holds");
    if (type == GenApi::intfICommand) throw ToolError(name + " is a command and has no value; run it with 'vireo set " + name + "=execute'");
    const std::string problem = AccessProblem(node, false);
    if (!problem.empty()) throw ToolError(problem);
    auto* value = dynamic_cast<GenApi::IValue*>(node);
    if (value == nullptr) throw ToolError(name + " has no value");
    return value->ToString().c_str();
}

bool ParseInteger(const std::string& text, int64_t& value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 0);  // decimal, 0x hexadecimal
    if (errno != 0 || *end != '\0') return false;
    value = parsed;
    return true;
}

bool ParseFloat(const std::string& text, double& value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    const double parsed = std::strtod(text.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(parsed)) return false;
    value = parsed;
    return true;
}

std::string NumberText(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

void WriteValue(GenApi::INode* node, const std::string& text) {
    const std::string name = node->GetName().c_str();
    const std::string quoted = "'" + text + "'";
    switch (node->GetPrincipalInterfaceType()) {
    case GenApi::intfICategory: throw ToolError(name + " is a category and takes no value");
    case GenApi::intfICommand: {
        if (Lower(text) != "execute") throw ToolError(name + " is a command; run it with " + name + "=execute");
        const std::string problem = AccessProblem(node, true);
        if (!problem.empty()) throw ToolError(problem);
        dynamic_cast<GenApi::ICommand&>(*node).Execute();
        return;
    }
    default: break;
    }
    const std::string problem = AccessProblem(node, true);
    if (!problem.empty()) throw ToolError(problem);

    switch (node->GetPrincipalInterfaceType()) {
    case GenApi::intfIInteger: {
        auto& integer = dynamic_cast<GenApi::IInteger&>(*node);
        int64_t value = 0;
        if (!ParseInteger(text, value)) {
            // Addresses and the like have their own notation; let the engine read it.
            if (integer.GetRepresentation() != GenApi::IPV4Address && integer.GetRepresentation() != GenApi::MACAddress)
                throw ToolError(quoted + " is not an integer (" + name + ")");
            integer.FromString(text.c_str());
            return;
        }
        const int64_t minimum = integer.GetMin(), maximum = integer.GetMax();
        if (value < minimum || value > maximum)
            throw ToolError(name + "=" + text + " is out of range [" + std::to_string(minimum) + ", " +
                            std::to_string(maximum) + "]");
        if (integer.GetIncMode() == GenApi::fixedIncrement && integer.GetInc() > 1 &&
            (value - minimum) % integer.GetInc() != 0)
            throw ToolError(name + "=" + text + " is not a multiple of the increment " + std::to_string(integer.GetInc()) +
                            " from " + std::to_string(minimum));
        integer.SetValue(value);
        return;
    }
    case GenApi::intfIFloat: {
        auto& number = dynamic_cast<GenApi::IFloat&>(*node);
        double value = 0;
        if (!ParseFloat(text, value)) throw ToolError(quoted + " is not a number (" + name + ")");
        const double minimum = number.GetMin(), maximum = number.GetMax();
        if (value < minimum || value > maximum)
            throw ToolError(name + "=" + text + " is out of range [" + NumberText(minimum) + ", " + NumberText(maximum) + "]");
        number.SetValue(value);
        return;
    }
    case GenApi::intfIBoolean: {
        const std::string lower = Lower(text);
        bool value = false;
        if (lower == "true" || lower == "1" || lower == "on") value = true;
        else if (lower == "false" || lower == "0" || lower == "off") value = false;
        else throw ToolError(quoted + " is not a boolean (" + name + " takes true or false)");
        dynamic_cast<GenApi::IBoolean&>(*node).SetValue(value);
        return;
    }
    case GenApi::intfIEnumeration: {
        auto& enumeration = dynamic_cast<GenApi::IEnumeration&>(*node);
        GenApi::IEnumEntry* entry = enumeration.GetEntryByName(text.c_str());
        if (entry == nullptr || !GenApi::IsAvailable(entry)) {
            GenApi::StringList_t symbolics;
            enumeration.GetSymbolics(symbolics);  // the available entries
            std::string choices;
            for (const GenICam::gcstring& symbolic : symbolics) choices += (choices.empty() ? "" : ", ") + std::string(symbolic.c_str());
            throw ToolError(quoted + " is not a value of " + name + " (one of: " + choices + ")");
        }
        enumeration.SetIntValue(entry->GetValue());
        return;
    }
    default: {
        auto* value = dynamic_cast<GenApi::IValue*>(node);
        if (value == nullptr) throw ToolError(name + " takes no value");
        value->FromString(text.c_str());
        return;
    }
    }
}

// The directory's file descriptor, restored as the working directory on destruction.
class WorkingDirectoryGuard {
public:
    WorkingDirectoryGuard() : m_fd(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_fd < 0) throw ToolError(std::string("cannot open the working directory: ") + std::strerror(errno));
    }
    WorkingDirectoryGuard(const WorkingDirectoryGuard&) = delete;
    WorkingDirectoryGuard& operator=(const WorkingDirectoryGuard&) = delete;
    ~WorkingDirectoryGuard() {
        if (::fchdir(m_fd) != 0) std::perror("vireo: cannot return to the working directory");
        ::close(m_fd);
    }

private:
    int m_fd;
};

} // namespace

int ListDevices(std::ostream& out) {
    CameraSystem system;
    if (system.Devices().empty()) {
        out << "no camera found\n";
        return kExitSuccess;
    }
    Table table({"MODEL", "SERIAL", "IP", "MAC", "INTERFACE"});
    for (const Vireo::DeviceInfo& info : system.Devices()) {
        std::string interfaceId = "?";
        try {
            interfaceId = Vireo::GetNodeValue<GenICam::gcstring>(system.System().GetTLInterfaceNodeMap(info), "InterfaceID").c_str();
        } catch (const std::exception&) {
            // A producer without the standard InterfaceID still lists its cameras.
        }
        table.AddRow({info.ModelName().c_str(), info.SerialNumber().c_str(), info.IpAddressStr().c_str(),
                      info.MacAddressStr().c_str(), interfaceId});
    }
    table.Print(out);
    return kExitSuccess;
}

int ListFeatures(const std::string& serial, const std::string& filter, std::ostream& out) {
    CameraSystem system;
    OpenCamera camera(system, serial);
    GenApi::INode* root = camera.Features().GetNode("Root");
    if (root == nullptr) throw ToolError("the camera's description has no Root category");
    Table table({"FEATURE", "TYPE", "ACCESS", "VALUE"});
    std::set<GenApi::INode*> visited;
    AddFeatureRows(root, 0, Lower(filter), false, table, visited);
    if (table.RowCount() == 0) throw ToolError("no feature of camera " + camera.Serial() + " matches '" + filter + "'");
    table.Print(out);
    return kExitSuccess;
}

int GetFeatures(const std::string& serial, const std::vector<std::string>& names, std::ostream& out) {
    CameraSystem system;
    OpenCamera camera(system, serial);
    for (const std::string& name : names) {
        const std::string value = ReadValue(FindFeature(camera, name));
        out << name << '=' << value << '\n';
    }
    return kExitSuccess;
}

std::pair<std::string, std::string> ParseAssignment(const std::string& assignment) {
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("expected NAME=VALUE, got '" + assignment + "'");
    return {assignment.substr(0, equals), assignment.substr(equals + 1)};
}

void SetFeature(OpenCamera& camera, const std::string& name, const std::string& value) {
    WriteValue(FindFeature(camera, name), value);
}

int SetFeatures(const std::string& serial, const std::vector<std::string>& assignments, std::ostream& out) {
    // Every assignment is checked for its form before the camera is touched.
    std::vector<std::pair<std::string, std::string>> parsed;
    for (const std::string& assignment : assignments) parsed.push_back(ParseAssignment(assignment));
    CameraSystem system;
    OpenCamera camera(system, serial);
    for (const auto& [name, value] : parsed) {
        GenApi::INode* node = FindFeature(camera, name);
        WriteValue(node, value);
        const bool readBack = GenApi::IsReadable(node) && node->GetPrincipalInterfaceType() != GenApi::intfICommand;
        const std::string now = readBack ? ReadValue(node) : value;
        out << name << '=' << now << '\n';
    }
    return kExitSuccess;
}

int WriteDescription(const std::string& serial, const std::string& outFile, std::ostream& out) {
    CameraSystem system;
    OpenCamera camera(system, serial);
    namespace fs = std::filesystem;
    const std::string produced = camera.Serial() + ".xml";
    if (outFile.empty()) {
        camera.Device().DownloadXml();
        out << produced << '\n';
        return kExitSuccess;
    }
    // The SDK writes "<serial>.xml" into the working directory; it does so in a fresh directory
    // next to the destination, so that no file of the user's is overwritten but the one named
    // and the final rename stays on one file system.
    const fs::path destination = fs::absolute(outFile);
    std::string scratch = (destination.parent_path() / ".vireo-xml-XXXXXX").string();
    if (::mkdtemp(scratch.data()) == nullptr)
        throw ToolError("cannot write into " + destination.parent_path().string() + ": " + std::strerror(errno));
    std::error_code ignored;
    try {
        {
            WorkingDirectoryGuard guard;
            if (::chdir(scratch.c_str()) != 0) throw ToolError("cannot enter " + scratch + ": " + std::strerror(errno));
            camera.Device().DownloadXml();
        }
        fs::rename(fs::path(scratch) / produced, destination);
    } catch (const fs::filesystem_error& error) {
        fs::remove_all(scratch, ignored);
        throw ToolError("cannot write " + outFile + ": " + error.code().message());
    } catch (...) {
        fs::remove_all(scratch, ignored);
        throw;
    }
    fs::remove_all(scratch, ignored);
    out << outFile << '\n';
    return kExitSuccess;
}

} // namespace VireoTool
