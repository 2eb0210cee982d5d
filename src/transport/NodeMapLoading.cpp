#include "NodeMapLoading.h"

#include <strings.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include <GenApi/NodeMapFactory.h>

#include "Errors.h"

namespace Vireo {

DescriptionLocation ParseDescriptionUrl(const std::string& url) {
    DescriptionLocation location;
    const size_t colon = url.find(':');
    // Schemes are case-insensitive: producers and cameras write "Local:" as often as "local:".
    if (url.size() >= 6 && strncasecmp(url.c_str(), "local:", 6) == 0) {
        // local:<file name>;<hex address>;<hex length>[?query]
        location.local = true;
        const size_t first = url.find(';');
        const size_t second = first == std::string::npos ? std::string::npos : url.find(';', first + 1);
        location.fileName = url.substr(colon + 1, first == std::string::npos ? std::string::npos : first - colon - 1);
        const std::string address =
            first == std::string::npos ? std::string() : url.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
        location.address = std::strtoll(address.c_str(), nullptr, 16);
        const std::string length = second == std::string::npos ? std::string() : url.substr(second + 1);
        location.length = std::stoi(length.substr(0, length.find('?')), nullptr, 16);
        return location;
    }
    // Otherwise a file: everything after the scheme's colon, up to a query.
    const std::string rest = colon == std::string::npos ? url : url.substr(colon + 1);
    location.path = rest.substr(0, rest.find('?'));
    location.fileName = location.path;
    return location;
}

std::string PortNameFor(const std::string& fileName) {
    std::string stem;
    if (fileName.find("GenTLSystem") != std::string::npos)
        stem = "TL";
    else if (fileName.find("GenTLInterface") != std::string::npos)
        stem = "Interface";
    else if (fileName.find("GenTLDevice") != std::string::npos)
        stem = "Device";
    else if (fileName.find("GenTLDataStream") != std::string::npos)
        stem = "Stream";
    return stem + "Port";
}

namespace {

// The description file a port URL points to; empty when a named file cannot be read.
std::vector<uint8_t> ReadDescription(TLBase* module, const DescriptionLocation& location) {
    std::vector<uint8_t> description;
    if (location.local) {
        description.resize(static_cast<size_t>(location.length));
        size_t length = description.size();
        const GenTL::GC_ERROR read = module->ReadPort(static_cast<uint64_t>(location.address), description.data(), &length);
        if (read != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(read, "Unable to read port", "NodeMap", "InitNodeMap", "GCReadPort");
    } else {
        std::ifstream file(location.path, std::ios::binary);
        if (file) description.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return description;
}

GenApi::INodeMap* CreateConnected(std::vector<uint8_t>& description, Port& port, const std::string& portName,
                                  std::vector<uint8_t>* descriptionOut) {
    if (description.empty()) return nullptr;
    GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, description.data(), description.size(),
                                    GenApi::CacheUsage_Automatic, false);
    GenApi::INodeMap* map = factory.CreateNodeMap("Device", true);
    map->Connect(&port, portName.c_str());
    if (descriptionOut != nullptr) *descriptionOut = std::move(description);
    return map;
}

} // namespace

namespace {

// The URLs the module publishes, by GCGetNumPortURLs and GCGetPortURLInfo: the current way,
// which producers that no longer implement GCGetPortURL offer.
std::vector<std::string> PortUrls(TLBase* module) {
    std::vector<std::string> urls;
    uint32_t count = 0;
    if (module->GetNumPortURLs(&count) != GenTL::GC_ERR_SUCCESS) return urls;
    for (uint32_t index = 0; index < count; ++index) {
        char url[1024] = {};
        size_t size = sizeof url;
        int32_t type = 0;
        if (module->GetPortURLInfo(index, GenTL::URL_INFO_URL, &type, url, &size) != GenTL::GC_ERR_SUCCESS) continue;
        url[sizeof url - 1] = '\0';
        urls.emplace_back(url);
    }
    return urls;
}

// The node map of the first URL whose description loads; null when none does.
GenApi::INodeMap* FirstLoading(TLBase* module, Port& port, const std::vector<std::string>& urls,
                               const std::string& fixedPortName, std::vector<uint8_t>* descriptionOut) {
    for (const std::string& url : urls) {
        try {
            const DescriptionLocation location = ParseDescriptionUrl(url);
            std::vector<uint8_t> description = ReadDescription(module, location);
            GenApi::INodeMap* map = CreateConnected(
                description, port, fixedPortName.empty() ? PortNameFor(location.fileName) : fixedPortName, descriptionOut);
            if (map != nullptr) return map;
        } catch (const std::exception&) {
            // Not a usable description: try the next URL.
        }
    }
    return nullptr;
}

} // namespace

GenApi::INodeMap* InitNodeMap(TLBase* module, Port& port, std::vector<uint8_t>* descriptionOut) {
    char url[256] = {};
    size_t size = sizeof url;
    const GenTL::GC_ERROR result = module->GetPortURL(url, &size);
    // A module without a usable description has no node map; only what needs it says so.
    if (result == GenTL::GC_ERR_NOT_IMPLEMENTED) return FirstLoading(module, port, PortUrls(module), "", descriptionOut);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get port URL", "NodeMap", "GetUrl", "GCGetPortURL");
    url[sizeof url - 1] = '\0';
    const DescriptionLocation location = ParseDescriptionUrl(url);
    std::vector<uint8_t> description = ReadDescription(module, location);
    return CreateConnected(description, port, PortNameFor(location.fileName), descriptionOut);
}

GenApi::INodeMap* InitRemoteNodeMap(TLBase* remote, Port& port, std::vector<uint8_t>* descriptionOut) {
    char url[256] = {};
    size_t size = sizeof url;
    int32_t type = 0;
    const GenTL::GC_ERROR result = remote->GetPortURLInfo(0, GenTL::URL_INFO_URL, &type, url, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get port URL", "Device", "GetUrl",
                                   "GCGetPortURLInfo, URL_INFO_URL");
    url[sizeof url - 1] = '\0';
    std::vector<uint8_t> description = ReadDescription(remote, ParseDescriptionUrl(url));
    GenApi::INodeMap* map = CreateConnected(description, port, "Device", descriptionOut);
    // A camera may publish several descriptions: the first one that loads serves.
    if (map == nullptr) {
        std::vector<std::string> others = PortUrls(remote);
        if (!others.empty()) others.erase(others.begin());
        map = FirstLoading(remote, port, others, "Device", descriptionOut);
    }
    return map;
}

} // namespace Vireo
