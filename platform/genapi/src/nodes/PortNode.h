// A port node: the register space behind a group of registers. Device ports forward to the
// IPort the application connects; chunk ports read a chunk of an attached buffer; event ports
// read the data of the last event delivered to them.
#ifndef GENAPI_SRC_NODES_PORTNODE_H
#define GENAPI_SRC_NODES_PORTNODE_H

#include <optional>

#include <GenApi/IPort.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class PortNode final : public Node, public IPort {
public:
    PortNode(NodeMap& map, std::string name) : Node(map, std::move(name), "Port", ValueKind::Port) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;

    void SetPort(IPort* port) { m_port = port; }
    const std::optional<uint64_t>& ChunkId() const { return m_chunkId; }
    const std::optional<uint64_t>& EventId() const { return m_eventIdValue; }
    // Chunk data stays where it is; the adapter guarantees it outlives the attachment.
    void AttachChunk(uint8_t* data, size_t size);
    void Detach();
    void AttachEvent(const uint8_t* data, size_t size);
    bool IsAttached() const { return m_attached; }

    // Inside the engine: no lock, no access check.
    void ReadBytes(void* buffer, int64_t address, int64_t length);
    void WriteBytes(const void* buffer, int64_t address, int64_t length);
    EAccessMode OwnAccessMode() const override;

    // IPort: takes the lock and checks the access mode.
    void Read(void* pBuffer, int64_t Address, int64_t Length) override;
    void Write(const void* pBuffer, int64_t Address, int64_t Length) override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIPort; }

private:
    void CheckRange(int64_t address, int64_t length) const;

    IPort* m_port = nullptr;
    std::optional<uint64_t> m_chunkId;
    std::optional<uint64_t> m_eventIdValue;
    bool m_swapEndianess = false;
    bool m_attached = false;
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
    std::vector<uint8_t> m_eventData;
};

} // namespace GenApi::detail

#endif
