// The description-file location held by the first and second URL registers (0x0200,
// 0x0400): "Local:<file>;<address>;<length>" for a file in device memory, with both
// numbers in hex, or a file: or http(s): URL; optionally followed by "?SchemaVersion=x.y.z".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <GigE/ByteOrder.h>

namespace GigE {

struct DescriptionUrl {
    enum class Scheme { Local, File, Http, Https };

    Scheme scheme = Scheme::Local;
    std::string fileName;       // Local: the name, e.g. "acme_cam_v3.zip"
    std::uint32_t address = 0;  // Local: where the file starts in device memory
    std::uint32_t length = 0;   // Local: its size in bytes
    std::string location;       // File: the path; Http(s): the whole URL without the query
    std::string schemaVersion;  // empty when not given

    // A local file whose name ends in ".zip" (any case) is an archive holding the XML file.
    bool zipped() const;

    // "Local:name.zip;8000;1B3C0", hex in upper case without "0x"; file: and http(s):
    // locations as URLs; the schema version appended as a query.
    std::string format() const;
    // The URL register's content: the text, NUL-terminated and zero-padded to 512 bytes.
    // A text that does not fit with its NUL: std::length_error.
    std::vector<std::uint8_t> encodeRegister() const;

    // Tolerates what devices write: the scheme in any case, slashes after "Local:", "0x"
    // prefixes, either hex case, blanks around the fields and separators. Empty or unusable
    // text gives nothing, so the caller moves on to the second URL.
    static std::optional<DescriptionUrl> parse(std::string_view text);
    // Reads the text up to the first NUL (or the end of the bytes) and parses it.
    static std::optional<DescriptionUrl> parseRegister(Bytes registerContent);

    bool operator==(const DescriptionUrl&) const = default;
};

} // namespace GigE
