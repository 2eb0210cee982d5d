// Big-endian field access for GVCP and GVSP: every multi-byte protocol field travels
// most significant byte first, whatever the host's order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace GigE {

using Bytes = std::span<const std::uint8_t>;

inline std::uint16_t readUint16(Bytes bytes, std::size_t offset) {
    return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

inline std::uint32_t readUint24(Bytes bytes, std::size_t offset) {
    return (std::uint32_t{bytes[offset]} << 16) | (std::uint32_t{bytes[offset + 1]} << 8) |
           std::uint32_t{bytes[offset + 2]};
}

inline std::uint32_t readUint32(Bytes bytes, std::size_t offset) {
    return (std::uint32_t{bytes[offset]} << 24) | (std::uint32_t{bytes[offset + 1]} << 16) |
           (std::uint32_t{bytes[offset + 2]} << 8) | std::uint32_t{bytes[offset + 3]};
}

inline std::uint64_t readUint48(Bytes bytes, std::size_t offset) {
    return (std::uint64_t{readUint16(bytes, offset)} << 32) | readUint32(bytes, offset + 2);
}

inline std::uint64_t readUint64(Bytes bytes, std::size_t offset) {
    return (std::uint64_t{readUint32(bytes, offset)} << 32) | readUint32(bytes, offset + 4);
}

// Appends big-endian fields to a datagram under construction.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<std::uint8_t>& out) : out_(out) {}

    void uint8(std::uint8_t value) { out_.push_back(value); }
    void uint16(std::uint16_t value) {
        out_.push_back(static_cast<std::uint8_t>(value >> 8));
        out_.push_back(static_cast<std::uint8_t>(value));
    }
    void uint24(std::uint32_t value) {
        uint8(static_cast<std::uint8_t>(value >> 16));
        uint16(static_cast<std::uint16_t>(value));
    }
    void uint32(std::uint32_t value) {
        uint16(static_cast<std::uint16_t>(value >> 16));
        uint16(static_cast<std::uint16_t>(value));
    }
    void uint48(std::uint64_t value) {
        uint16(static_cast<std::uint16_t>(value >> 32));
        uint32(static_cast<std::uint32_t>(value));
    }
    void uint64(std::uint64_t value) {
        uint32(static_cast<std::uint32_t>(value >> 32));
        uint32(static_cast<std::uint32_t>(value));
    }
    void zeros(std::size_t count) { out_.insert(out_.end(), count, 0); }
    void bytes(Bytes data) { out_.insert(out_.end(), data.begin(), data.end()); }
    // A fixed-size text field: cut to the field, NUL-padded (no terminator when it fills it).
    void text(std::string_view value, std::size_t fieldSize) {
        const std::size_t used = value.size() < fieldSize ? value.size() : fieldSize;
        out_.insert(out_.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(used));
        zeros(fieldSize - used);
    }

private:
    std::vector<std::uint8_t>& out_;
};

// Reads a fixed-size text field that ends at its first NUL or at the field's end.
inline std::string_view readText(Bytes bytes, std::size_t offset, std::size_t fieldSize) {
    const auto* begin = reinterpret_cast<const char*>(bytes.data() + offset);
    std::size_t length = 0;
    while (length < fieldSize && begin[length] != '\0') ++length;
    return {begin, length};
}

} // namespace GigE
