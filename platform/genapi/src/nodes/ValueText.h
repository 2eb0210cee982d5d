// Text forms of values, honouring the representation of integer nodes (hexadecimal, IPv4
// address, MAC address) and the display notation of float nodes.
#ifndef GENAPI_SRC_NODES_VALUETEXT_H
#define GENAPI_SRC_NODES_VALUETEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include <GenApi/Types.h>

namespace GenApi::detail {

std::string FormatInteger(int64_t value, ERepresentation representation);
// Accepts decimal, 0x-prefixed hexadecimal, and the dotted or colon forms of addresses.
bool ParseInteger(std::string_view text, int64_t& value);
std::string FormatFloat(double value, EDisplayNotation notation, int64_t precision);
bool ParseFloat(std::string_view text, double& value);
std::string FormatBytes(const uint8_t* data, size_t length);
bool ParseBytes(std::string_view text, std::string& bytes);
std::string_view Trim(std::string_view text);

} // namespace GenApi::detail

#endif
