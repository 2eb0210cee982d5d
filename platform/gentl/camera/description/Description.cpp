#include "Description.h"

#include <bit>
#include <cstdio>
#include <stdexcept>

namespace VirtualGenTL {
namespace {

std::string Hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string FloatText(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

const char* AccessText(Access access) {
    switch (access) {
    case Access::RO: return "RO";
    case Access::WO: return "WO";
    case Access::RW: break;
    }
    return "RW";
}

} // namespace

std::string XmlEscape(const std::string& text) {
    std::string escaped;
    for (char character : text) {
        switch (character) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        default: escaped += character;
        }
    }
    return escaped;
}

uint32_t Description::RegisterLength(const Feature& feature) {
    switch (feature.kind) {
    case FeatureKind::String: return feature.length;
    case FeatureKind::Integer: return feature.length != 0 ? feature.length : 8;
    case FeatureKind::Float: return 8;
    case FeatureKind::Boolean:
    case FeatureKind::Enumeration:
    case FeatureKind::Command: break;
    }
    return 4;
}

uint64_t Description::ElementStride(const Feature& feature) {
    return feature.selectorStride != 0 ? feature.selectorStride : RegisterLength(feature);
}

Description::Description(DescriptionHeader header, std::vector<Feature> features, std::string extraNodes)
    : m_header(std::move(header)), m_features(std::move(features)) {
    uint64_t address = m_header.baseAddress;
    for (size_t index = 0; index < m_features.size(); ++index) {
        Feature& feature = m_features[index];
        if (!m_index.emplace(feature.name, index).second) throw std::logic_error("feature listed twice: " + feature.name);
        if (feature.chunkId != 0 || feature.eventId != 0) continue;  // lives in a frame or an event
        if (feature.fixedAddress) {
            if (*feature.fixedAddress >= m_header.baseAddress)
                throw std::logic_error("fixed address of " + feature.name + " lies in the laid-out block");
            feature.address = *feature.fixedAddress;
            continue;
        }
        feature.address = address;
        const uint64_t count = feature.selector.empty() ? 1 : feature.selectorCount;
        address += (ElementStride(feature) * count + 7) / 8 * 8;
    }
    m_registerBytes = address - m_header.baseAddress;
    BuildXml(extraNodes);
}

const Feature* Description::Find(const std::string& name) const {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : &m_features[found->second];
}

const Feature& Description::Get(const std::string& name) const {
    const Feature* feature = Find(name);
    if (feature == nullptr) throw std::out_of_range("no feature " + name + " in " + m_header.modelName);
    return *feature;
}

void Description::BuildXml(const std::string& extraNodes) {
    const std::string endianess = m_header.bigEndian ? "BigEndian" : "LittleEndian";
    std::string xml;
    xml += "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    xml += "<RegisterDescription ModelName=\"" + XmlEscape(m_header.modelName) + "\" VendorName=\"" +
           XmlEscape(m_header.vendorName) + "\" ToolTip=\"" + XmlEscape(m_header.toolTip) +
           "\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
           "ProductGuid=\"7E1C5E4A-1D2B-4F00-9A11-000000000001\" VersionGuid=\"7E1C5E4A-1D2B-4F00-9A11-000000000002\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 "
           "http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd\">\n";

    // Categories, in order of first appearance, under Root.
    std::vector<std::string> categories;
    std::map<std::string, std::vector<std::string>> members;
    for (const Feature& feature : m_features) {
        if (feature.category.empty() || feature.unpublished) continue;
        if (members.find(feature.category) == members.end()) categories.push_back(feature.category);
        members[feature.category].push_back(feature.name);
    }
    xml += "  <Category Name=\"Root\" NameSpace=\"Standard\">\n";
    for (const std::string& category : categories) xml += "    <pFeature>" + category + "</pFeature>\n";
    xml += "  </Category>\n";
    for (const std::string& category : categories) {
        xml += "  <Category Name=\"" + category + "\" NameSpace=\"Standard\">\n";
        for (const std::string& member : members[category]) xml += "    <pFeature>" + member + "</pFeature>\n";
        xml += "  </Category>\n";
    }

    // Features that select others invalidate them.
    std::map<std::string, std::vector<std::string>> selected;
    for (const Feature& feature : m_features)
        if (!feature.selector.empty()) selected[feature.selector].push_back(feature.name);

    for (const Feature& feature : m_features) {
        if (feature.unpublished) continue;
        const std::string reg = feature.name + "Reg";
        std::string common = "    <ToolTip>" + XmlEscape(feature.description) + "</ToolTip>\n";
        common += "    <Description>" + XmlEscape(feature.description) + "</Description>\n";
        if (feature.streamable) common += "    <Streamable>Yes</Streamable>\n";
        for (const std::string& name : selected[feature.name]) common += "    <pSelected>" + name + "</pSelected>\n";

        switch (feature.kind) {
        case FeatureKind::Integer:
            xml += "  <Integer Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            xml += "    <pValue>" + reg + "</pValue>\n";
            xml += "    <Min>" + std::to_string(feature.min) + "</Min>\n";
            xml += "    <Max>" + std::to_string(feature.max) + "</Max>\n";
            xml += "    <Inc>" + std::to_string(feature.inc) + "</Inc>\n";
            if (!feature.unit.empty()) xml += "    <Unit>" + XmlEscape(feature.unit) + "</Unit>\n";
            if (!feature.representation.empty())
                xml += "    <Representation>" + feature.representation + "</Representation>\n";
            xml += "  </Integer>\n";
            break;
        case FeatureKind::Float:
            xml += "  <Float Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            xml += "    <pValue>" + reg + "</pValue>\n";
            xml += "    <Min>" + FloatText(feature.floatMin) + "</Min>\n";
            xml += "    <Max>" + FloatText(feature.floatMax) + "</Max>\n";
            if (!feature.unit.empty()) xml += "    <Unit>" + XmlEscape(feature.unit) + "</Unit>\n";
            xml += "  </Float>\n";
            break;
        case FeatureKind::Boolean:
            xml += "  <Boolean Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            xml += "    <pValue>" + reg + "</pValue>\n    <OnValue>1</OnValue>\n    <OffValue>0</OffValue>\n";
            xml += "  </Boolean>\n";
            break;
        case FeatureKind::Enumeration:
            xml += "  <Enumeration Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            for (const EnumEntry& entry : feature.entries) {
                xml += "    <EnumEntry Name=\"" + entry.name + "\" NameSpace=\"Standard\">\n";
                xml += "      <Value>" + std::to_string(entry.value) + "</Value>\n";
                xml += "    </EnumEntry>\n";
            }
            xml += "    <pValue>" + reg + "</pValue>\n";
            xml += "  </Enumeration>\n";
            break;
        case FeatureKind::Command:
            xml += "  <Command Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            xml += "    <pValue>" + reg + "</pValue>\n    <CommandValue>1</CommandValue>\n";
            xml += "  </Command>\n";
            break;
        case FeatureKind::String:
            xml += "  <StringReg Name=\"" + feature.name + "\" NameSpace=\"Standard\">\n" + common;
            xml += "    <Address>" + Hex(feature.address) + "</Address>\n";
            xml += "    <Length>" + std::to_string(feature.length) + "</Length>\n";
            xml += "    <AccessMode>" + std::string(AccessText(feature.access)) + "</AccessMode>\n";
            xml += "    <pPort>" + m_header.portName + "</pPort>\n";
            xml += "    <Cachable>NoCache</Cachable>\n";
            xml += "  </StringReg>\n";
            continue;
        }

        const bool isFloat = feature.kind == FeatureKind::Float;
        std::string port = m_header.portName;
        if (feature.chunkId != 0) {
            port = "ChunkPort" + feature.name;
            char id[16];
            std::snprintf(id, sizeof id, "%08X", feature.chunkId);
            xml += "  <Port Name=\"" + port + "\">\n    <ChunkID>" + id + "</ChunkID>\n  </Port>\n";
        }
        if (feature.eventId != 0) {
            char id[16];
            std::snprintf(id, sizeof id, "%04X", feature.eventId);
            port = std::string("EventPort") + id;
            if (m_eventPorts.insert(feature.eventId).second)
                xml += "  <Port Name=\"" + port + "\">\n    <EventID>" + id + "</EventID>\n  </Port>\n";
        }
        const char* const kind = isFloat ? "FloatReg" : (feature.fieldMask != 0 ? "MaskedIntReg" : "IntReg");
        xml += std::string("  <") + kind + " Name=\"" + reg + "\">\n";
        xml += "    <Address>" + Hex(feature.eventId != 0 ? feature.eventOffset : feature.address) + "</Address>\n";
        if (!feature.selector.empty())
            xml += "    <pIndex Offset=\"" + std::to_string(ElementStride(feature)) + "\">" + feature.selector +
                   "Reg</pIndex>\n";
        xml += "    <Length>" + std::to_string(RegisterLength(feature)) + "</Length>\n";
        xml += "    <AccessMode>" + std::string(AccessText(feature.access)) + "</AccessMode>\n";
        xml += "    <pPort>" + port + "</pPort>\n";
        xml += "    <Cachable>NoCache</Cachable>\n";
        if (feature.fieldMask != 0) {
            // Bits count from the register's most significant bit in big-endian registers.
            const int high = 31 - std::countl_zero(feature.fieldMask), low = std::countr_zero(feature.fieldMask);
            const bool big = m_header.bigEndian;
            xml += "    <LSB>" + std::to_string(big ? 31 - low : low) + "</LSB>\n";
            xml += "    <MSB>" + std::to_string(big ? 31 - high : high) + "</MSB>\n";
        }
        if (!isFloat) xml += std::string("    <Sign>") + (feature.min < 0 ? "Signed" : "Unsigned") + "</Sign>\n";
        xml += "    <Endianess>" + endianess + "</Endianess>\n";
        xml += std::string("  </") + kind + ">\n";
    }
    xml += extraNodes;
    xml += "  <Port Name=\"" + m_header.portName + "\" NameSpace=\"Standard\"/>\n";
    xml += "</RegisterDescription>\n";
    m_xml = std::move(xml);
}

} // namespace VirtualGenTL
