#include "nodes/PortNode.h"

#include <algorithm>
#include <cstring>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
std::optional<uint64_t> ParseHexId(std::string_view text) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
    if (text.empty() || text.size() > 16) return std::nullopt;
    uint64_t value = 0;
    for (const char c : text) {
        if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
        value = value * 16 + static_cast<uint64_t>(std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::toupper(c) - 'A' + 10);
    }
    return value;
}
} // namespace

bool PortNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "ChunkID") {
        m_chunkId = ParseHexId(NodeBuilder::Text(child));
        if (!m_chunkId) builder.Fail(this, "ChunkID '" + std::string(NodeBuilder::Text(child)) + "' is not hexadecimal");
    } else if (element == "SwapEndianess") {
        m_swapEndianess = builder.YesNo(this, child);
    } else if (element == "CacheChunkData") {
        builder.YesNo(this, child);
    } else {
        return Node::ParseProperty(element, child, builder);
    }
    return true;
}

void PortNode::Link(NodeBuilder& builder) {
    Node::Link(builder);
    if (!m_eventId.empty()) {
        m_eventIdValue = ParseHexId(m_eventId);
        if (!m_eventIdValue) builder.Fail(this, "EventID '" + m_eventId + "' is not hexadecimal");
    }
}

void PortNode::AttachChunk(uint8_t* data, size_t size) {
    m_data = data;
    m_size = size;
    m_attached = true;
}

void PortNode::AttachEvent(const uint8_t* data, size_t size) {
    m_eventData.assign(data, data + size);
    m_data = m_eventData.data();
    m_size = m_eventData.size();
    m_attached = true;
}

void PortNode::Detach() {
    m_data = nullptr;
    m_size = 0;
    m_attached = false;
}

EAccessMode PortNode::OwnAccessMode() const {
    if (m_chunkId) return m_attached ? RW : NA;
    if (m_eventIdValue) return m_attached ? RO : NA;
    if (m_port == nullptr) return NA;
    return m_port->GetAccessMode();
}

void PortNode::CheckRange(int64_t address, int64_t length) const {
    if (address < 0 || length < 0 || static_cast<uint64_t>(address) > m_size ||
        static_cast<uint64_t>(length) > m_size - static_cast<uint64_t>(address))
        throw OUT_OF_RANGE_EXCEPTION("Port '%s': %lld bytes at 0x%llx lie outside the %zu bytes attached", m_name,
                                     static_cast<long long>(length), static_cast<unsigned long long>(address), m_size);
}

namespace {
void SwapWords(uint8_t* data, int64_t length) {
    if (length % 4 != 0) return;
    for (int64_t index = 0; index < length; index += 4) {
        std::swap(data[index], data[index + 3]);
        std::swap(data[index + 1], data[index + 2]);
    }
}
} // namespace

void PortNode::ReadBytes(void* buffer, int64_t address, int64_t length) {
    if (m_chunkId || m_eventIdValue) {
        if (!m_attached) throw ACCESS_EXCEPTION("Port '%s' has no data attached", m_name);
        CheckRange(address, length);
        std::memcpy(buffer, m_data + address, static_cast<size_t>(length));
    } else {
        if (m_port == nullptr) throw ACCESS_EXCEPTION("Port '%s' is not connected", m_name);
        m_port->Read(buffer, address, length);
    }
    if (m_swapEndianess) SwapWords(static_cast<uint8_t*>(buffer), length);
}

void PortNode::WriteBytes(const void* buffer, int64_t address, int64_t length) {
    std::vector<uint8_t> swapped;
    if (m_swapEndianess) {
        swapped.assign(static_cast<const uint8_t*>(buffer), static_cast<const uint8_t*>(buffer) + length);
        SwapWords(swapped.data(), length);
        buffer = swapped.data();
    }
    if (m_eventIdValue) throw ACCESS_EXCEPTION("Port '%s' is an event port and cannot be written", m_name);
    if (m_chunkId) {
        if (!m_attached) throw ACCESS_EXCEPTION("Port '%s' has no data attached", m_name);
        CheckRange(address, length);
        std::memcpy(m_data + address, buffer, static_cast<size_t>(length));
        return;
    }
    if (m_port == nullptr) throw ACCESS_EXCEPTION("Port '%s' is not connected", m_name);
    m_port->Write(buffer, address, length);
}

void PortNode::Read(void* pBuffer, int64_t Address, int64_t Length) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    ReadBytes(pBuffer, Address, Length);
}

void PortNode::Write(const void* pBuffer, int64_t Address, int64_t Length) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    WriteBytes(pBuffer, Address, Length);
    // Anything may live behind the written bytes.
    for (const auto& node : m_map.Nodes()) node->ClearCaches();
}

} // namespace GenApi::detail
