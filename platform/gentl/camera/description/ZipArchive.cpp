#include "ZipArchive.h"

#include <zip.h>

#include <memory>
#include <stdexcept>

namespace VirtualGenTL {

std::vector<uint8_t> ZipSingleFile(const std::string& fileName, const std::string& content) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* archiveSource = zip_source_buffer_create(nullptr, 0, 0, &error);
    if (archiveSource == nullptr) throw std::runtime_error("cannot create a zip buffer");
    zip_source_keep(archiveSource);  // read back after the archive is closed
    std::unique_ptr<zip_source_t, decltype(&zip_source_free)> keep(archiveSource, &zip_source_free);

    zip_t* archive = zip_open_from_source(archiveSource, ZIP_TRUNCATE, &error);
    if (archive == nullptr) throw std::runtime_error("cannot open a zip archive in memory");
    zip_source_t* file = zip_source_buffer(archive, content.data(), content.size(), 0);
    if (file == nullptr || zip_file_add(archive, fileName.c_str(), file, ZIP_FL_OVERWRITE) < 0) {
        if (file != nullptr) zip_source_free(file);
        zip_discard(archive);
        throw std::runtime_error("cannot add " + fileName + " to a zip archive");
    }
    if (zip_close(archive) < 0) {
        zip_discard(archive);
        throw std::runtime_error("cannot write a zip archive");
    }

    zip_stat_t stat;
    if (zip_source_stat(archiveSource, &stat) < 0 || zip_source_open(archiveSource) < 0)
        throw std::runtime_error("cannot read a zip archive back");
    std::vector<uint8_t> bytes(stat.size);
    const zip_int64_t read = zip_source_read(archiveSource, bytes.data(), bytes.size());
    zip_source_close(archiveSource);
    if (read < 0 || static_cast<zip_uint64_t>(read) != stat.size) throw std::runtime_error("short zip read");
    return bytes;
}

} // namespace VirtualGenTL
