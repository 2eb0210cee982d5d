#include "nodes/ValueText.h"

#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace GenApi::detail {

std::string_view Trim(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    return text;
}

std::string FormatInteger(int64_t value, ERepresentation representation) {
    char text[64];
    const uint64_t bits = static_cast<uint64_t>(value);
    switch (representation) {
    case HexNumber:
        std::snprintf(text, sizeof text, "0x%" PRIX64, bits);
        break;
    case IPV4Address:
        std::snprintf(text, sizeof text, "%u.%u.%u.%u", unsigned((bits >> 24) & 0xFF), unsigned((bits >> 16) & 0xFF),
                      unsigned((bits >> 8) & 0xFF), unsigned(bits & 0xFF));
        break;
    case MACAddress:
        std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", unsigned((bits >> 40) & 0xFF),
                      unsigned((bits >> 32) & 0xFF), unsigned((bits >> 24) & 0xFF), unsigned((bits >> 16) & 0xFF),
                      unsigned((bits >> 8) & 0xFF), unsigned(bits & 0xFF));
        break;
    default:
        std::snprintf(text, sizeof text, "%" PRId64, value);
        break;
    }
    return text;
}

namespace {

// Parses groups of numbers separated by one separator; each group must fit maximum.
bool ParseGroups(std::string_view text, char separator, int count, int base, uint64_t& value) {
    value = 0;
    int groups = 0;
    while (groups < count) {
        size_t length = 0;
        uint64_t group = 0;
        while (length < text.size() && std::isxdigit(static_cast<unsigned char>(text[length]))) {
            const char c = text[length];
            const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::toupper(c) - 'A' + 10;
            if (digit >= base) return false;
            group = group * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
            if (group > 255 || ++length > 3) return false;
        }
        if (length == 0) return false;
        value = (value << 8) | group;
        text.remove_prefix(length);
        ++groups;
        if (groups < count) {
            if (text.empty() || text.front() != separator) return false;
            text.remove_prefix(1);
        }
    }
    return text.empty();
}

} // namespace

bool ParseInteger(std::string_view input, int64_t& value) {
    const std::string_view text = Trim(input);
    if (text.empty()) return false;
    uint64_t grouped = 0;
    if (text.find('.') != std::string_view::npos) {
        if (!ParseGroups(text, '.', 4, 10, grouped)) return false;
        value = static_cast<int64_t>(grouped);
        return true;
    }
    if (text.find(':') != std::string_view::npos || (text.size() == 17 && text[2] == '-')) {
        if (!ParseGroups(text, text.find(':') != std::string_view::npos ? ':' : '-', 6, 16, grouped)) return false;
        value = static_cast<int64_t>(grouped);
        return true;
    }
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    if (copy.size() > 2 && copy[0] == '0' && (copy[1] == 'x' || copy[1] == 'X')) {
        const unsigned long long parsed = std::strtoull(copy.c_str() + 2, &end, 16);
        if (errno != 0 || end == copy.c_str() + 2 || *end != '\0' || copy[2] == '-' || copy[2] == '+') return false;
        value = static_cast<int64_t>(parsed);
        return true;
    }
    const long long parsed = std::strtoll(copy.c_str(), &end, 10);
    if (errno != 0 || end == copy.c_str() || *end != '\0') return false;
    value = parsed;
    return true;
}

std::string FormatFloat(double value, EDisplayNotation notation, int64_t precision) {
    char text[64];
    const int digits = precision < 0 ? 6 : static_cast<int>(precision > 30 ? 30 : precision);
    switch (notation) {
    case fnFixed:
        std::snprintf(text, sizeof text, "%.*f", digits, value);
        break;
    case fnScientific:
        std::snprintf(text, sizeof text, "%.*e", digits, value);
        break;
    default:
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        break;
    }
    return text;
}

bool ParseFloat(std::string_view input, double& value) {
    const std::string copy(Trim(input));
    if (copy.empty()) return false;
    char* end = nullptr;
    value = std::strtod(copy.c_str(), &end);
    return end != copy.c_str() && *end == '\0';
}

std::string FormatBytes(const uint8_t* data, size_t length) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 + length * 2);
    text += "0x";
    for (size_t index = 0; index < length; ++index) {
        text += digits[data[index] >> 4];
        text += digits[data[index] & 0xF];
    }
    return text;
}

bool ParseBytes(std::string_view input, std::string& bytes) {
    std::string_view text = Trim(input);
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
    if (text.size() % 2 != 0) return false;
    bytes.clear();
    for (size_t index = 0; index < text.size(); index += 2) {
        int value = 0;
        for (size_t offset = 0; offset < 2; ++offset) {
            const char c = text[index + offset];
            if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
            value = value * 16 + (std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::toupper(c) - 'A' + 10);
        }
        bytes += static_cast<char>(value);
    }
    return true;
}

} // namespace GenApi::detail
