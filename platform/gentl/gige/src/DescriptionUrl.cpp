#include <GigE/DescriptionUrl.h>

#include <GigE/BootstrapRegisters.h>

#include <cctype>
#include <cstdio>
#include <stdexcept>

namespace GigE {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trim(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

bool startsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (std::size_t index = 0; index < prefix.size(); ++index)
        if (std::tolower(static_cast<unsigned char>(text[index])) != prefix[index]) return false;
    return true;
}

bool endsWithNoCase(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && startsWithNoCase(text.substr(text.size() - suffix.size()), suffix);
}

std::optional<std::uint32_t> parseHex(std::string_view text) {
    text = trim(text);
    if (startsWithNoCase(text, "0x")) text.remove_prefix(2);
    if (text.empty() || text.size() > 8) return std::nullopt;
    std::uint32_t value = 0;
    for (const char c : text) {
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0'
                          : (c >= 'a' && c <= 'f')                    ? c - 'a' + 10
                          : (c >= 'A' && c <= 'F')                    ? c - 'A' + 10
                                                                      : -1;
        if (digit < 0) return std::nullopt;
        value = value << 4 | static_cast<std::uint32_t>(digit);
    }
    return value;
}

std::string schemaVersionOf(std::string_view query) {
    constexpr std::string_view key = "schemaversion=";
    while (!query.empty()) {
        const std::size_t end = query.find('&');
        const std::string_view pair = query.substr(0, end);
        if (startsWithNoCase(pair, key)) return std::string(trim(pair.substr(key.size())));
        if (end == std::string_view::npos) break;
        query.remove_prefix(end + 1);
    }
    return {};
}

std::optional<DescriptionUrl> parseLocal(std::string_view rest) {
    while (!rest.empty() && (rest.front() == '/' || isBlank(rest.front()))) rest.remove_prefix(1);
    const std::size_t first = rest.find(';');
    if (first == std::string_view::npos) return std::nullopt;
    const std::size_t second = rest.find(';', first + 1);
    if (second == std::string_view::npos || rest.find(';', second + 1) != std::string_view::npos) return std::nullopt;
    DescriptionUrl url;
    url.fileName = std::string(trim(rest.substr(0, first)));
    const auto address = parseHex(rest.substr(first + 1, second - first - 1));
    const auto length = parseHex(rest.substr(second + 1));
    if (url.fileName.empty() || !address || !length || *length == 0) return std::nullopt;
    url.address = *address;
    url.length = *length;
    return url;
}

std::string hex(std::uint32_t value) {
    char text[9];
    std::snprintf(text, sizeof text, "%X", value);
    return text;
}

} // namespace

bool DescriptionUrl::zipped() const { return scheme == Scheme::Local && endsWithNoCase(fileName, ".zip"); }

std::string DescriptionUrl::format() const {
    std::string text;
    switch (scheme) {
    case Scheme::Local: text = "Local:" + fileName + ";" + hex(address) + ";" + hex(length); break;
    case Scheme::File: text = "file://" + location; break;
    case Scheme::Http:
    case Scheme::Https: text = location; break;
    }
    if (!schemaVersion.empty()) text += "?SchemaVersion=" + schemaVersion;
    return text;
}

std::vector<std::uint8_t> DescriptionUrl::encodeRegister() const {
    const std::string text = format();
    if (text.size() >= Register::urlSize) throw std::length_error("description-file URL longer than its register");
    std::vector<std::uint8_t> content(text.begin(), text.end());
    content.resize(Register::urlSize, 0);
    return content;
}

std::optional<DescriptionUrl> DescriptionUrl::parse(std::string_view text) {
    text = trim(text);
    std::string schemaVersion;
    if (const std::size_t fragment = text.find('#'); fragment != std::string_view::npos) text = text.substr(0, fragment);
    if (const std::size_t query = text.find('?'); query != std::string_view::npos) {
        schemaVersion = schemaVersionOf(text.substr(query + 1));
        text = trim(text.substr(0, query));
    }
    std::optional<DescriptionUrl> url;
    if (startsWithNoCase(text, "local:")) {
        url = parseLocal(text.substr(6));
    } else if (startsWithNoCase(text, "file:")) {
        std::string_view path = text.substr(5);
        // "file:///opt/x.xml" names /opt/x.xml.
        if (path.substr(0, 2) == "//") path.remove_prefix(2);
        if (!path.empty()) url = DescriptionUrl{Scheme::File, {}, 0, 0, std::string(path), {}};
    } else if (startsWithNoCase(text, "http://") && text.size() > 7) {
        url = DescriptionUrl{Scheme::Http, {}, 0, 0, std::string(text), {}};
    } else if (startsWithNoCase(text, "https://") && text.size() > 8) {
        url = DescriptionUrl{Scheme::Https, {}, 0, 0, std::string(text), {}};
    }
    if (url) url->schemaVersion = std::move(schemaVersion);
    return url;
}

std::optional<DescriptionUrl> DescriptionUrl::parseRegister(Bytes registerContent) {
    return parse(readText(registerContent, 0, registerContent.size()));
}

} // namespace GigE
