// The GigE Vision chunk adapter on hand-built trailers: valid layouts, truncated ones, lengths
// that reach past the start, updates, detachment and callbacks.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::ErrorOf;

const char* const kChunkNodes = R"(<Port Name="Device"/>
    <Category Name="ChunkDataControl"><pFeature>ChunkWidth</pFeature><pFeature>ChunkTimestamp</pFeature></Category>
    <Port Name="WidthPort"><ChunkID>A0</ChunkID></Port>
    <Port Name="TimePort"><ChunkID>0x00000B0</ChunkID></Port>
    <IntReg Name="ChunkWidth"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>WidthPort</pPort>
      <Endianess>BigEndian</Endianess></IntReg>
    <IntReg Name="ChunkTimestamp"><Address>0</Address><Length>8</Length><AccessMode>RO</AccessMode><pPort>TimePort</pPort>
      <Endianess>LittleEndian</Endianess></IntReg>
    <IntSwissKnife Name="ChunkWidthTwice"><pVariable Name="W">ChunkWidth</pVariable><Formula>W * 2</Formula></IntSwissKnife>)";

void AppendBigEndian(std::vector<uint8_t>& buffer, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) buffer.push_back(static_cast<uint8_t>(value >> shift));
}

// data, then id and length, per chunk, in order.
std::vector<uint8_t> Layout(const std::vector<std::pair<uint32_t, std::vector<uint8_t>>>& chunks) {
    std::vector<uint8_t> buffer;
    for (const auto& [id, data] : chunks) {
        buffer.insert(buffer.end(), data.begin(), data.end());
        AppendBigEndian(buffer, id);
        AppendBigEndian(buffer, static_cast<uint32_t>(data.size()));
    }
    return buffer;
}

std::vector<uint8_t> Image() { return std::vector<uint8_t>(16, 0x55); }

TEST(ChunkAdapter, AttachesChunksToPortsWithTheirId) {
    auto map = Build(kChunkNodes);
    CChunkAdapterGEV adapter(map.get());
    std::vector<uint8_t> buffer = Layout({{0x1, Image()},
                                          {0xA0, {0, 0, 2, 128}},
                                          {0xB0, {1, 2, 3, 4, 5, 6, 7, 8}}});
    EXPECT_TRUE(adapter.CheckBufferLayout(buffer.data(), static_cast<int64_t>(buffer.size())));
    AttachStatistics_t statistics{};
    EXPECT_EQ(map->GetNode("ChunkWidth")->GetAccessMode(), NA);
    EXPECT_EQ(map->GetNode("ChunkWidthTwice")->GetAccessMode(), NA); // a formula over unreadable variables
    adapter.AttachBuffer(buffer.data(), static_cast<int64_t>(buffer.size()), &statistics);
    EXPECT_EQ(map->GetNode("ChunkWidthTwice")->GetAccessMode(), RO);
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkWidthTwice"))->GetValue(), 1280);
    EXPECT_EQ(statistics.NumChunkPorts, 2);
    EXPECT_EQ(statistics.NumChunks, 3);
    EXPECT_EQ(statistics.NumAttachedChunks, 2);
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkWidth"))->GetValue(), 640);
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkTimestamp"))->GetValue(), 0x0807060504030201);

    // The same layout in another copy of the buffer, with other values.
    std::vector<uint8_t> copy = buffer;
    copy[16 + 8 + 3] = 129; // after the image chunk and its trailer
    adapter.UpdateBuffer(copy.data());
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkWidth"))->GetValue(), 641);

    adapter.DetachBuffer();
    EXPECT_EQ(map->GetNode("ChunkWidth")->GetAccessMode(), NA);
    EXPECT_THROW(CIntegerPtr(map->GetNode("ChunkWidth"))->GetValue(), GenICam::AccessException);
}

TEST(ChunkAdapter, PortsWithoutAChunkInTheBufferBecomeUnavailable) {
    auto map = Build(kChunkNodes);
    CChunkAdapterGEV adapter(map.get());
    std::vector<uint8_t> buffer = Layout({{0xA0, {0, 0, 0, 7}}});
    AttachStatistics_t statistics{};
    adapter.AttachBuffer(buffer.data(), static_cast<int64_t>(buffer.size()), &statistics);
    EXPECT_EQ(statistics.NumAttachedChunks, 1);
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkWidth"))->GetValue(), 7);
    EXPECT_FALSE(IsReadable(map->GetNode("ChunkTimestamp")));
}

TEST(ChunkAdapter, ReportsBadLayoutsWithTheExpectedText) {
    auto map = Build(kChunkNodes);
    CChunkAdapterGEV adapter(map.get());
    std::vector<uint8_t> valid = Layout({{0x1, Image()}, {0xA0, {0, 0, 2, 128}}});

    std::vector<uint8_t> truncated(valid.begin() + 3, valid.end()); // start cut off
    std::vector<uint8_t> tooLong = valid;
    tooLong[tooLong.size() - 1] = 200; // the last chunk claims bytes before the buffer's start
    std::vector<uint8_t> tiny = {0, 0, 0, 1};
    for (std::vector<uint8_t>* bad : {&truncated, &tooLong, &tiny}) {
        EXPECT_FALSE(adapter.CheckBufferLayout(bad->data(), static_cast<int64_t>(bad->size())));
        EXPECT_EQ(ErrorOf([&] { adapter.AttachBuffer(bad->data(), static_cast<int64_t>(bad->size())); }),
                  "Invalid layout of buffer attached to chunk parser!");
    }
    EXPECT_THROW(adapter.AttachBuffer(nullptr, 100), GenICam::RuntimeException);
    // A chunk register reaching past its chunk fails on read rather than reading the neighbour.
    std::vector<uint8_t> shortChunk = Layout({{0xB0, {1, 2, 3, 4}}});
    adapter.AttachBuffer(shortChunk.data(), static_cast<int64_t>(shortChunk.size()));
    EXPECT_THROW(CIntegerPtr(map->GetNode("ChunkTimestamp"))->GetValue(), GenICam::OutOfRangeException);
}

TEST(ChunkAdapter, FiresCallbacksOfChunkFeaturesAndWorksOnAChunkSubtree) {
    const std::string text = std::string("<?xml version=\"1.0\"?><RegisterDescription>") + kChunkNodes +
                             "<Integer Name=\"Unrelated\"><Value>1</Value></Integer></RegisterDescription>";
    CNodeMapFactory factory(ContentType_Auto, text.data(), text.size());
    GenApiTest::NodeMapHandle map(factory.ExtractSubtree("ChunkDataControl").CreateNodeMap());
    EXPECT_EQ(map->GetNode("Unrelated"), nullptr);
    CChunkAdapterGEV adapter;
    adapter.AttachNodeMap(map.get());
    int fired = 0;
    Register(map->GetNode("ChunkWidth"), [&](INode*) { ++fired; });
    std::vector<uint8_t> buffer = Layout({{0xA0, {0, 0, 0, 9}}});
    adapter.AttachBuffer(buffer.data(), static_cast<int64_t>(buffer.size()));
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(CIntegerPtr(map->GetNode("ChunkWidth"))->GetValue(), 9);
    adapter.DetachNodeMap();
    EXPECT_FALSE(IsReadable(map->GetNode("ChunkWidth")));
}

} // namespace
