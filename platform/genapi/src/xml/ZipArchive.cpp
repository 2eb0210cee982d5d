#include "xml/ZipArchive.h"

#include <cstring>
#include <memory>
#include <string>
#include <strings.h>

#include <zip.h>

#include <Base/GCException.h>

namespace GenApi::detail {

namespace {
// Larger than any description file; stops archives that inflate without end.
constexpr zip_uint64_t kMaximumDescriptionSize = 256ull * 1024 * 1024;

struct ArchiveCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};

struct FileCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

bool IsDescriptionEntry(const std::string& name) {
    if (name.empty() || name.back() == '/') return false;
    if (name.rfind("__MACOSX/", 0) == 0) return false;
    const size_t slash = name.rfind('/');
    const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    if (base.rfind("._", 0) == 0) return false;
    return base.size() > 4 && strcasecmp(base.c_str() + base.size() - 4, ".xml") == 0;
}
} // namespace

bool LooksLikeZip(const void* data, size_t size) {
    return size >= 4 && std::memcmp(data, "PK", 2) == 0;
}

std::vector<char> ExtractDescription(const void* data, size_t size) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(data, size, 0, &error);
    if (source == nullptr) {
        const std::string text = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw RUNTIME_EXCEPTION("Cannot read the zip archive: %s", text);
    }
    std::unique_ptr<zip_t, ArchiveCloser> archive(zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &error));
    if (!archive) {
        zip_source_free(source);
        const std::string text = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw RUNTIME_EXCEPTION("Cannot open the zip archive: %s", text);
    }
    zip_error_fini(&error);

    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    zip_int64_t chosen = -1;
    int found = 0;
    for (zip_int64_t index = 0; index < count; ++index) {
        const char* name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(index), 0);
        if (name == nullptr || !IsDescriptionEntry(name)) continue;
        ++found;
        chosen = index;
    }
    if (found == 0) throw RUNTIME_EXCEPTION("The zip archive holds no description file (.xml)");
    if (found > 1) throw RUNTIME_EXCEPTION("The zip archive holds %d description files; expected one", found);

    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive.get(), static_cast<zip_uint64_t>(chosen), 0, &stat) != 0 || !(stat.valid & ZIP_STAT_SIZE))
        throw RUNTIME_EXCEPTION("Cannot read the description file in the zip archive: %s", zip_strerror(archive.get()));
    if (stat.size > kMaximumDescriptionSize)
        throw RUNTIME_EXCEPTION("The description file in the zip archive is too large (%llu bytes)",
                                static_cast<unsigned long long>(stat.size));
    std::unique_ptr<zip_file_t, FileCloser> file(zip_fopen_index(archive.get(), static_cast<zip_uint64_t>(chosen), 0));
    if (!file) throw RUNTIME_EXCEPTION("Cannot unpack the description file: %s", zip_strerror(archive.get()));
    std::vector<char> text(static_cast<size_t>(stat.size));
    zip_uint64_t filled = 0;
    while (filled < stat.size) {
        const zip_int64_t read = zip_fread(file.get(), text.data() + filled, stat.size - filled);
        if (read < 0) throw RUNTIME_EXCEPTION("Cannot unpack the description file: %s", zip_file_strerror(file.get()));
        if (read == 0) break;
        filled += static_cast<zip_uint64_t>(read);
    }
    if (filled != stat.size) throw RUNTIME_EXCEPTION("The description file in the zip archive is truncated");
    return text;
}

} // namespace GenApi::detail
