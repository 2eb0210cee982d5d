// A module's description file and register layout, built from its feature list.
#ifndef VIRTUALGENTL_DESCRIPTION_H
#define VIRTUALGENTL_DESCRIPTION_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Feature.h"

namespace VirtualGenTL {

struct DescriptionHeader {
    std::string modelName;
    std::string vendorName = "Vireo";
    std::string toolTip;
    std::string portName;  // the Port node the registers are read through
    bool bigEndian = false;
    // Where the features' own registers start; features with a fixed address lie below it.
    uint64_t baseAddress = 0;
};

class Description {
public:
    // Lays the features out from the header's base address, each register aligned to 8 bytes;
    // features with a fixed address keep it.
    Description(DescriptionHeader header, std::vector<Feature> features, std::string extraNodes = {});

    const std::string& Xml() const { return m_xml; }
    const Feature& Get(const std::string& name) const;  // throws std::out_of_range
    const Feature* Find(const std::string& name) const;
    const std::vector<Feature>& Features() const { return m_features; }
    uint64_t RegisterBytes() const { return m_registerBytes; }  // from the base address
    uint64_t BaseAddress() const { return m_header.baseAddress; }
    bool BigEndian() const { return m_header.bigEndian; }

    // The register length of a feature (one element of a selected feature).
    static uint32_t RegisterLength(const Feature& feature);
    // Bytes from one element of a selected feature to the next.
    static uint64_t ElementStride(const Feature& feature);

private:
    void BuildXml(const std::string& extraNodes);

    DescriptionHeader m_header;
    std::vector<Feature> m_features;
    std::map<std::string, size_t> m_index;
    std::set<uint32_t> m_eventPorts;  // event IDs whose port is written
    uint64_t m_registerBytes = 0;
    std::string m_xml;
};

// Escapes text for an XML element or attribute.
std::string XmlEscape(const std::string& text);

} // namespace VirtualGenTL

#endif
