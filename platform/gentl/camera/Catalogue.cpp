#include "Catalogue.h"

namespace VirtualGenTL {

std::vector<CatalogueEntry> DefaultCatalogue() {
    auto identity = [](const char* serial, const char* name, uint64_t mac, uint32_t ip) {
        CameraIdentity id;
        id.serialNumber = serial;
        id.userDefinedName = name;
        id.macAddress = mac;
        id.ipAddress = ip;
        id.subnetMask = 0xFFFFFF00;
        id.defaultGateway = (ip & 0xFFFFFF00) | 1;
        return id;
    };
    auto grouped = [](CameraIdentity id) {
        id.groupEnable = true;
        id.groupSerial = "VG-0001";
        id.groupName = "Tarsum depth and colour pair";
        id.groupMemberCount = 2;
        return id;
    };
    return {
        {ColourCameraModel(), grouped(identity("VC2448C-0001", "colour", 0x0256495200A1, 0xC0A80A0B)), 0},
        {MonoCameraModel(), identity("VM1280M-0001", "mono", 0x0256495200A2, 0xC0A80A0C), 0},
        {DepthCameraModel(), grouped(identity("VT640D-0001", "depth", 0x0256495200A3, 0xC0A80A0D)), 0},
        {MonoCameraModel(), identity("VM1280M-0002", "mono-2", 0x0256495200B1, 0xC0A8140B), 1},
        {LinescanCameraModel(), identity("VL4096L-0001", "linescan", 0x0256495200B2, 0xC0A8140C), 1},
        {MultiStreamCameraModel(), identity("VX2048S-0001", "multistream", 0x0256495200B3, 0xC0A8140D), 1},
        {MonoCameraModel(), identity("VM1280M-0003", "remote", 0x0256495200C1, 0x0A000005), 0, true},
    };
}

} // namespace VirtualGenTL
