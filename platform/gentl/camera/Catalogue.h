// The virtual cameras that exist by default: their models and identities (serial number,
// MAC and IP address), and where they sit on the virtual network. The producer offers them on
// its virtual interfaces; the GigE Vision device server puts any of them on a real network.
#ifndef VIRTUALGENTL_CATALOGUE_H
#define VIRTUALGENTL_CATALOGUE_H

#include <cstdint>
#include <vector>

#include "CameraModel.h"
#include "VirtualCamera.h"

namespace VirtualGenTL {

struct CatalogueEntry {
    CameraModel model;
    CameraIdentity identity;
    uint32_t interfaceIndex = 0;
    // Behind a router: broadcasts do not reach it, only unicast discovery of its address.
    bool routed = false;
};

std::vector<CatalogueEntry> DefaultCatalogue();

} // namespace VirtualGenTL

#endif
