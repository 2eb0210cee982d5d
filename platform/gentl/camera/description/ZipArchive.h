// Packs one file into a zip archive in memory: remote devices serve their description
// files zipped, as GigE Vision cameras commonly do.
#ifndef VIRTUALGENTL_ZIPARCHIVE_H
#define VIRTUALGENTL_ZIPARCHIVE_H

#include <cstdint>
#include <string>
#include <vector>

namespace VirtualGenTL {

std::vector<uint8_t> ZipSingleFile(const std::string& fileName, const std::string& content);

} // namespace VirtualGenTL

#endif
