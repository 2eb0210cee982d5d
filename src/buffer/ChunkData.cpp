#include <Vireo/ChunkData.h>

#include <cstring>
#include <memory>

#include <GenApi/GenApi.h>
#include <Vireo/Crc.h>

#include "../transport/Errors.h"

namespace Vireo {

namespace {

// The engine's text for a chunk trailer that does not tile the buffer.
constexpr const char* kInvalidLayout = "Invalid layout of buffer attached to chunk parser!";

} // namespace

ChunkData::ChunkData(TLDataStream* stream, void* hBuffer, GenApi::INodeMap* pChunkNodeMap)
    : Buffer(stream, hBuffer), m_chunkNodeMap(pChunkNodeMap) {}

// Nothing can fail after Buffer(other) has copied the block, so the map is taken only by a
// copy that exists.
ChunkData::ChunkData(ChunkData* other, GenApi::INodeMap* pChunkNodeMap)
    : Buffer(other), m_chunkNodeMap(pChunkNodeMap) {}

ChunkData::~ChunkData() {
    // The ports must let go of this buffer's bytes before the map and the bytes go away.
    if (m_chunkAdapter != nullptr) {
        try {
            m_chunkAdapter->DetachNodeMap();
        } catch (...) {
            // Callbacks fired by the detachment must not escape a destructor.
        }
        delete m_chunkAdapter;
        m_chunkAdapter = nullptr;
    }
    if (m_chunkNodeMap != nullptr) {
        try {
            if (auto* destroy = dynamic_cast<GenApi::IDestroy*>(m_chunkNodeMap)) destroy->Destroy();
        } catch (...) {
        }
        m_chunkNodeMap = nullptr;
    }
}

bool ChunkData::VerifyCRC() {
    VIREO_THROW_PLAIN(LogicalError, "Validating CRC for ChunkData is not supported", "ChunkData", "VerifyCRC");
}

GenApi::INode* ChunkData::GetChunk(GenICam::gcstring name) {
    if (m_chunkNodeMap == nullptr) return nullptr;
    if (m_chunkAdapter == nullptr && !AttachChunks()) return nullptr;
    return m_chunkNodeMap->GetNode(name);
}

bool ChunkData::AttachChunks() {
    // The adapter is kept only once the buffer is attached: after any failure the next
    // GetChunk starts over instead of answering from unbound ports.
    std::unique_ptr<GenApi::CChunkAdapterGEV> adapter;
    try {
        adapter = std::make_unique<GenApi::CChunkAdapterGEV>(m_chunkNodeMap, -1);
        const size_t sizeFilled = GetSizeFilled();
        // The ports read the chunks in place; the adapter writes only for a writable chunk
        // feature that the application sets, into a buffer it owns.
        auto* data = const_cast<uint8_t*>(GetData());
        adapter->AttachBuffer(data, static_cast<int64_t>(sizeFilled), nullptr);
    } catch (const GenICam::RuntimeException& error) {
        if (std::strstr(error.GetDescription(), kInvalidLayout) == nullptr) throw;
        return false;
    }
    m_chunkAdapter = adapter.release();
    return true;
}

int64_t ChunkData::ReadChunkCRC(const char* unit) {
    if (IsIncomplete()) VIREO_THROW_PLAIN(LogicalError, "Data received is incomplete", unit, "VerifyCRC");
    GenApi::INode* node = GetChunk("ChunkCRC");
    const GenApi::EAccessMode mode = node != nullptr ? node->GetAccessMode() : GenApi::NA;
    if (mode != GenApi::RO && mode != GenApi::RW)
        VIREO_THROW_PLAIN(LogicalError, "Cannot read 'ChunkCRC'", unit, "VerifyCRC");
    // A ChunkCRC that is not an integer fails here with the engine's own message.
    return GenApi::CIntegerPtr(node)->GetValue();
}

bool ChunkData::PayloadMatchesCRC(uint64_t length, int64_t expected) {
    // Geometry that claims more bytes than were delivered cannot be checked, nor read safely:
    // such a payload does not match.
    if (length > GetSizeFilled()) return false;
    return int64_t{CalculateCRC32(GetData(), static_cast<size_t>(length))} == expected;
}

} // namespace Vireo
