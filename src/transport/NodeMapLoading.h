// Builds a producer module's node map from the description file its port URL names.
#ifndef VIREO_SRC_TRANSPORT_NODEMAPLOADING_H
#define VIREO_SRC_TRANSPORT_NODEMAPLOADING_H

#include <cstdint>
#include <string>
#include <vector>

#include <GenApi/INodeMap.h>
#include <Vireo/Port.h>

namespace Vireo {

// The module's node map, connected to port, owned by the caller (destroy it through
// GenApi::IDestroy); null when the URL names a file that cannot be read. The description file's
// bytes, as read (possibly zipped), go to *description when it is given.
GenApi::INodeMap* InitNodeMap(TLBase* module, Port& port, std::vector<uint8_t>* description = nullptr);

// The camera's own node map, over its remote device port: the description file comes from the
// port's first URL (GCGetPortURLInfo) and the node map connects under "Device", the port name
// of camera description files.
GenApi::INodeMap* InitRemoteNodeMap(TLBase* remote, Port& port, std::vector<uint8_t>* description = nullptr);

// The pieces of a port URL, as InitNodeMap reads them.
struct DescriptionLocation {
    bool local = false;       // "local:": in the module's own registers
    std::string fileName;     // local: the name before the first ';'
    int64_t address = 0;      // local: hexadecimal
    int32_t length = 0;       // local: hexadecimal; throws std::invalid_argument or std::out_of_range
    std::string path;         // otherwise: the file to read
};
DescriptionLocation ParseDescriptionUrl(const std::string& url);

// The port node a module's file connects under: "TLPort", "InterfacePort", "DevicePort",
// "StreamPort", or "Port" for a file name that names none of the modules.
std::string PortNameFor(const std::string& fileName);

} // namespace Vireo

#endif
