#include <GenApi/ChunkAdapterGEV.h>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/PortNode.h"

namespace GenApi {

namespace {

struct Chunk {
    uint64_t id;
    int64_t offset;
    int64_t length;
};

// More chunks than any camera appends; bounds the work a hostile trailer can cause.
constexpr size_t kMaximumChunks = 65536;

uint32_t BigEndian32(const uint8_t* data) {
    return (uint32_t{data[0]} << 24) | (uint32_t{data[1]} << 16) | (uint32_t{data[2]} << 8) | uint32_t{data[3]};
}

// Walks from the end of the buffer: each chunk's data is followed by its id and its length,
// both big-endian. The chunks must tile the buffer exactly, down to its first byte.
bool ParseLayout(const uint8_t* buffer, int64_t length, std::vector<Chunk>& chunks) {
    chunks.clear();
    if (buffer == nullptr || length < 8) return false;
    int64_t position = length;
    while (position > 0) {
        if (position < 8 || chunks.size() >= kMaximumChunks) return false;
        const uint32_t id = BigEndian32(buffer + position - 8);
        const int64_t chunkLength = BigEndian32(buffer + position - 4);
        position -= 8;
        if (chunkLength > position) return false;
        position -= chunkLength;
        chunks.push_back(Chunk{id, position, chunkLength});
    }
    return true;
}

detail::NodeMap* EngineMap(INodeMap* map) {
    if (map == nullptr) return nullptr;
    auto* engine = dynamic_cast<detail::NodeMap*>(map);
    if (engine == nullptr) throw LOGICAL_ERROR_EXCEPTION("The node map was not made by this GenApi engine");
    return engine;
}

} // namespace

class ChunkBinding {
public:
    detail::NodeMap* map = nullptr;
    uint8_t* buffer = nullptr;
    int64_t length = 0;

    std::vector<detail::PortNode*> ChunkPorts() const {
        std::vector<detail::PortNode*> ports;
        if (map == nullptr) return ports;
        for (detail::PortNode* port : map->Ports())
            if (port->ChunkId()) ports.push_back(port);
        return ports;
    }

    void Attach(uint8_t* data, int64_t size, const std::vector<Chunk>& chunks, AttachStatistics_t* statistics) {
        buffer = data;
        length = size;
        int ports = 0;
        int attached = 0;
        if (map != nullptr) {
            detail::NodeMap::Entry entry(*map);
            for (detail::PortNode* port : ChunkPorts()) {
                ++ports;
                const Chunk* match = nullptr;
                for (const Chunk& chunk : chunks)
                    if (chunk.id == *port->ChunkId()) match = &chunk;
                if (match != nullptr) {
                    port->AttachChunk(data + match->offset, static_cast<size_t>(match->length));
                    ++attached;
                } else {
                    port->Detach();
                }
                map->Invalidate(port, true);
            }
        }
        if (statistics != nullptr) {
            statistics->NumChunkPorts = ports;
            statistics->NumChunks = static_cast<int>(chunks.size());
            statistics->NumAttachedChunks = attached;
        }
    }

    void Detach() {
        buffer = nullptr;
        length = 0;
        if (map == nullptr) return;
        detail::NodeMap::Entry entry(*map);
        for (detail::PortNode* port : ChunkPorts()) {
            port->Detach();
            map->Invalidate(port, true);
        }
    }
};

CChunkAdapterGEV::CChunkAdapterGEV(INodeMap* pNodeMap, int64_t) : m_binding(std::make_unique<ChunkBinding>()) {
    m_binding->map = EngineMap(pNodeMap);
}

CChunkAdapterGEV::~CChunkAdapterGEV() {
    try {
        m_binding->Detach();
    } catch (...) {
        // Callbacks fired by the detachment must not escape a destructor.
    }
}

void CChunkAdapterGEV::AttachNodeMap(INodeMap* pNodeMap) {
    if (m_binding->map != nullptr) DetachNodeMap();
    m_binding->map = EngineMap(pNodeMap);
}

void CChunkAdapterGEV::DetachNodeMap() {
    m_binding->Detach();
    m_binding->map = nullptr;
}

bool CChunkAdapterGEV::CheckBufferLayout(uint8_t* pBuffer, int64_t BufferLength) {
    std::vector<Chunk> chunks;
    return ParseLayout(pBuffer, BufferLength, chunks);
}

void CChunkAdapterGEV::AttachBuffer(uint8_t* pBuffer, int64_t BufferLength, AttachStatistics_t* pAttachStatistics) {
    std::vector<Chunk> chunks;
    if (!ParseLayout(pBuffer, BufferLength, chunks))
        throw RUNTIME_EXCEPTION("Invalid layout of buffer attached to chunk parser!");
    m_binding->Attach(pBuffer, BufferLength, chunks, pAttachStatistics);
}

void CChunkAdapterGEV::DetachBuffer() { m_binding->Detach(); }

void CChunkAdapterGEV::UpdateBuffer(uint8_t* pBaseAddress) {
    if (m_binding->buffer == nullptr) throw LOGICAL_ERROR_EXCEPTION("No buffer is attached to the chunk adapter");
    AttachBuffer(pBaseAddress, m_binding->length, nullptr);
}

void CChunkAdapterGEV::ClearCaches() {
    if (m_binding->map == nullptr) return;
    detail::NodeMap::Entry entry(*m_binding->map);
    for (detail::PortNode* port : m_binding->ChunkPorts()) m_binding->map->Invalidate(port, true);
}

} // namespace GenApi
