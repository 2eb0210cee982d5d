#include <GenApi/EventAdapterGEV.h>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/PortNode.h"

namespace GenApi {

namespace {

constexpr uint16_t kEventCommand = 0x00C0;
constexpr uint16_t kEventDataCommand = 0x00C2;
constexpr uint32_t kHeaderSize = 8;
constexpr uint32_t kItemHeaderSize = 16;

uint16_t BigEndian16(const uint8_t* data) { return static_cast<uint16_t>((data[0] << 8) | data[1]); }

detail::NodeMap* EngineMap(INodeMap* map) {
    if (map == nullptr) return nullptr;
    auto* engine = dynamic_cast<detail::NodeMap*>(map);
    if (engine == nullptr) throw LOGICAL_ERROR_EXCEPTION("The node map was not made by this GenApi engine");
    return engine;
}

} // namespace

CEventAdapterGEV::CEventAdapterGEV(INodeMap* pNodeMap) : m_pNodeMap(EngineMap(pNodeMap)) {}

CEventAdapterGEV::~CEventAdapterGEV() = default;

void CEventAdapterGEV::AttachNodeMap(INodeMap* pNodeMap) { m_pNodeMap = EngineMap(pNodeMap); }

void CEventAdapterGEV::DetachNodeMap() { m_pNodeMap = nullptr; }

// A GVCP packet: key 0x42, flags, command, payload length, request id, all big-endian, then
// event items. Each item starts with a size (0 in older devices, which means the 16-byte
// header alone for EVENT and the rest of the packet for EVENTDATA), the event id, the stream
// channel, the block id and a 64-bit timestamp; event data follows. The event port sees the
// whole item, so description files address the id at 2 and the timestamp at 8.
void CEventAdapterGEV::DeliverMessage(const uint8_t msg[], uint32_t numBytes) {
    auto* map = static_cast<detail::NodeMap*>(m_pNodeMap);
    if (map == nullptr || msg == nullptr || numBytes < kHeaderSize + kItemHeaderSize) return;
    const uint16_t command = BigEndian16(msg + 2);
    if (command != kEventCommand && command != kEventDataCommand) return;
    uint32_t size = BigEndian16(msg + 4);
    if (size > numBytes - kHeaderSize) size = numBytes - kHeaderSize;
    const uint8_t* payload = msg + kHeaderSize;

    detail::NodeMap::Entry entry(*map);
    const std::vector<detail::PortNode*> ports = map->Ports();
    uint32_t offset = 0;
    while (size - offset >= kItemHeaderSize) {
        const uint16_t declared = BigEndian16(payload + offset);
        const uint16_t eventId = BigEndian16(payload + offset + 2);
        uint32_t itemSize = declared;
        if (declared < kItemHeaderSize) itemSize = command == kEventCommand ? kItemHeaderSize : size - offset;
        if (itemSize > size - offset) break;
        for (detail::PortNode* port : ports) {
            if (!port->EventId() || *port->EventId() != eventId) continue;
            port->AttachEvent(payload + offset, itemSize);
            map->Invalidate(port, true);
        }
        offset += itemSize;
    }
}

} // namespace GenApi
