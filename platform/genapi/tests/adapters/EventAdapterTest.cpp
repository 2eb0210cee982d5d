// The GigE Vision event adapter on hand-built GVCP event packets.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;

// The layout of real description files: id at 2, timestamp at 8, data from 16 of the event port.
const char* const kEventNodes = R"(
    <Port Name="ExposureEndPort"><EventID>9001</EventID></Port>
    <Port Name="OtherPort"><EventID>9002</EventID></Port>
    <IntReg Name="EventExposureEnd"><Address>2</Address><Length>2</Length><AccessMode>RO</AccessMode>
      <pPort>ExposureEndPort</pPort><Endianess>BigEndian</Endianess></IntReg>
    <IntReg Name="EventExposureEndTimestamp"><Address>8</Address><Length>8</Length><AccessMode>RO</AccessMode>
      <pPort>ExposureEndPort</pPort><Endianess>BigEndian</Endianess></IntReg>
    <IntReg Name="EventExposureEndFrameID"><Address>16</Address><Length>4</Length><AccessMode>RO</AccessMode>
      <pPort>ExposureEndPort</pPort><Endianess>BigEndian</Endianess></IntReg>
    <IntReg Name="EventOther"><Address>2</Address><Length>2</Length><AccessMode>RO</AccessMode>
      <pPort>OtherPort</pPort><Endianess>BigEndian</Endianess></IntReg>)";

void Put16(std::vector<uint8_t>& packet, uint16_t value) {
    packet.push_back(static_cast<uint8_t>(value >> 8));
    packet.push_back(static_cast<uint8_t>(value));
}

void Put32(std::vector<uint8_t>& packet, uint32_t value) {
    Put16(packet, static_cast<uint16_t>(value >> 16));
    Put16(packet, static_cast<uint16_t>(value));
}

std::vector<uint8_t> Item(uint16_t size, uint16_t id, uint64_t timestamp, const std::vector<uint8_t>& data = {}) {
    std::vector<uint8_t> item;
    Put16(item, size);
    Put16(item, id);
    Put16(item, 0); // stream channel
    Put16(item, 1); // block id
    Put32(item, static_cast<uint32_t>(timestamp >> 32));
    Put32(item, static_cast<uint32_t>(timestamp));
    item.insert(item.end(), data.begin(), data.end());
    return item;
}

std::vector<uint8_t> Packet(uint16_t command, const std::vector<std::vector<uint8_t>>& items, int lengthAdjustment = 0) {
    std::vector<uint8_t> payload;
    for (const auto& item : items) payload.insert(payload.end(), item.begin(), item.end());
    std::vector<uint8_t> packet = {0x42, 0x00};
    Put16(packet, command);
    Put16(packet, static_cast<uint16_t>(static_cast<int>(payload.size()) + lengthAdjustment));
    Put16(packet, 7);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

TEST(EventAdapter, DeliversEventDataToThePortWithTheMatchingId) {
    auto map = Build(kEventNodes);
    CEventAdapterGEV adapter(map.get());
    std::vector<std::string> fired;
    Register(map->GetNode("EventExposureEndTimestamp"), [&](INode* node) { fired.push_back(node->GetName().c_str()); });
    Register(map->GetNode("EventOther"), [&](INode* node) { fired.push_back(node->GetName().c_str()); });
    EXPECT_FALSE(IsReadable(map->GetNode("EventExposureEnd")));

    const std::vector<uint8_t> packet = Packet(0x00C2, {Item(0, 0x9001, 0x1122334455667788, {0, 0, 0, 42})});
    adapter.DeliverMessage(packet.data(), static_cast<uint32_t>(packet.size()));
    EXPECT_EQ(fired, std::vector<std::string>{"EventExposureEndTimestamp"});
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEnd"))->GetValue(), 0x9001);
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndTimestamp"))->GetValue(), 0x1122334455667788);
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndFrameID"))->GetValue(), 42);
    EXPECT_FALSE(IsReadable(map->GetNode("EventOther")));

    // A later event replaces the data; the values stay readable after delivery.
    const std::vector<uint8_t> later = Packet(0x00C2, {Item(0, 0x9001, 5, {0, 0, 0, 43})});
    adapter.DeliverMessage(later.data(), static_cast<uint32_t>(later.size()));
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndFrameID"))->GetValue(), 43);
}

TEST(EventAdapter, SplitsEventPacketsIntoItems) {
    auto map = Build(kEventNodes);
    CEventAdapterGEV adapter(map.get());
    const std::vector<uint8_t> packet = Packet(0x00C0, {Item(0, 0x9002, 1), Item(0, 0x9001, 2)});
    adapter.DeliverMessage(packet.data(), static_cast<uint32_t>(packet.size()));
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventOther"))->GetValue(), 0x9002);
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndTimestamp"))->GetValue(), 2);
    // Sized items (newer devices) may carry data in an EVENT packet too.
    const std::vector<uint8_t> sized = Packet(0x00C0, {Item(20, 0x9001, 3, {0, 0, 0, 5}), Item(16, 0x9002, 4)});
    adapter.DeliverMessage(sized.data(), static_cast<uint32_t>(sized.size()));
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndFrameID"))->GetValue(), 5);
}

TEST(EventAdapter, IgnoresPacketsThatAreShortForeignOrLying) {
    auto map = Build(kEventNodes);
    CEventAdapterGEV adapter(map.get());
    const std::vector<uint8_t> valid = Packet(0x00C2, {Item(0, 0x9001, 1, {0, 0, 0, 1})});
    adapter.DeliverMessage(valid.data(), 10);                  // truncated
    adapter.DeliverMessage(nullptr, 100);
    const std::vector<uint8_t> foreign = Packet(0x0080, {Item(0, 0x9001, 1)});
    adapter.DeliverMessage(foreign.data(), static_cast<uint32_t>(foreign.size()));
    const std::vector<uint8_t> lying = Packet(0x00C0, {Item(200, 0x9001, 1)});
    adapter.DeliverMessage(lying.data(), static_cast<uint32_t>(lying.size()));
    EXPECT_FALSE(IsReadable(map->GetNode("EventExposureEnd")));
    // A header length beyond the bytes received is clipped to them.
    const std::vector<uint8_t> clipped = Packet(0x00C2, {Item(0, 0x9001, 9, {0, 0, 0, 3})}, 1000);
    adapter.DeliverMessage(clipped.data(), static_cast<uint32_t>(clipped.size()));
    EXPECT_EQ(CIntegerPtr(map->GetNode("EventExposureEndFrameID"))->GetValue(), 3);
}

} // namespace
