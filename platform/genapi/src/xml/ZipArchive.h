// Unpacks the one description file of a zip archive.
#ifndef GENAPI_SRC_XML_ZIPARCHIVE_H
#define GENAPI_SRC_XML_ZIPARCHIVE_H

#include <cstddef>
#include <vector>

namespace GenApi::detail {

// True when the data starts like a zip archive.
bool LooksLikeZip(const void* data, size_t size);

// The bytes of the single .xml entry; macOS resource-fork entries (__MACOSX/, ._*) and folders
// are ignored. Throws RuntimeException for a broken archive, or none or several XML entries.
std::vector<char> ExtractDescription(const void* data, size_t size);

} // namespace GenApi::detail

#endif
