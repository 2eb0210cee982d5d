// The node graph as applications see it (children, parents, terminal registers), values copied
// on write, port byte swapping, legacy node kinds, and callbacks that write other nodes.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::MemoryPort;

std::vector<std::string> Names(const NodeList_t& nodes) {
    std::vector<std::string> names;
    for (INode* node : nodes) names.push_back(node->GetName().c_str());
    std::sort(names.begin(), names.end());
    return names;
}

const char* const kGraph = R"(<Port Name="Device"/>
    <Integer Name="Width"><pValue>WidthReg</pValue><pMax>MaxWidth</pMax><pIsAvailable>Enabled</pIsAvailable></Integer>
    <IntReg Name="WidthReg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <pInvalidator>Mode</pInvalidator></IntReg>
    <IntSwissKnife Name="MaxWidth"><pVariable Name="M">Mode</pVariable><Formula>M ? 2048 : 1024</Formula></IntSwissKnife>
    <Integer Name="Mode"><Value>0</Value></Integer>
    <Boolean Name="Enabled"><Value>1</Value></Boolean>)";

TEST(NodeGraph, ReportsChildrenParentsAndTerminalRegisters) {
    auto map = Build(kGraph);
    INode* width = map->GetNode("Width");
    NodeList_t nodes;
    width->GetChildren(nodes);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Enabled", "MaxWidth", "WidthReg"}));
    width->GetChildren(nodes, ctValueChildren);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"MaxWidth", "WidthReg"}));
    width->GetChildren(nodes, ctTerminalNodes);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"WidthReg"}));
    width->GetChildren(nodes, ctWritingChildren);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"WidthReg"}));
    map->GetNode("WidthReg")->GetChildren(nodes, ctInvalidatingChildren);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Mode"}));
    map->GetNode("Mode")->GetChildren(nodes, ctDependingNodes);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"MaxWidth", "WidthReg"}));
    map->GetNode("WidthReg")->GetParents(nodes);
    EXPECT_EQ(Names(nodes), (std::vector<std::string>{"Width"}));
    EXPECT_TRUE(map->ParseSwissKnife("(1 + 2) * 3"));
    EXPECT_FALSE(map->ParseSwissKnife("(1 + "));
}

TEST(NodeGraph, RangesFollowTheNodesTheyComeFrom) {
    auto map = Build(kGraph);
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr width = map->GetNode("Width");
    EXPECT_EQ(width->GetMax(), 1024);
    EXPECT_THROW(width->SetValue(2000), GenICam::OutOfRangeException);
    CIntegerPtr(map->GetNode("Mode"))->SetValue(1);
    EXPECT_EQ(width->GetMax(), 2048);
    width->SetValue(2000);
    EXPECT_EQ(port.Peek(0), 2000u);
    CBooleanPtr(map->GetNode("Enabled"))->SetValue(false);
    EXPECT_FALSE(IsAvailable(width));
}

TEST(NodeGraph, InsideLockCallbacksMayWriteOtherNodes) {
    auto map = Build(kGraph);
    MemoryPort port;
    map->Connect(&port);
    std::vector<std::string> order;
    Register(map->GetNode("Mode"), [&](INode*) {
        order.push_back("Mode");
        CIntegerPtr(map->GetNode("Width"))->SetValue(16); // runs its own callbacks after this one
    });
    Register(map->GetNode("Width"), [&](INode*) { order.push_back("Width"); });
    CIntegerPtr(map->GetNode("Mode"))->SetValue(1);
    ASSERT_GE(order.size(), 2u);
    EXPECT_EQ(order.front(), "Mode");
    EXPECT_EQ(order.back(), "Width");
    EXPECT_EQ(port.Peek(0), 16u);
    order.clear();
    map->InvalidateNodes();
    EXPECT_FALSE(order.empty());
}

TEST(ValueCopies, WritesReachEveryCopy) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="First"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="Second"><Address>4</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Integer Name="Both"><pValue>First</pValue><pValueCopy>Second</pValueCopy></Integer>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr(map->GetNode("Both"))->SetValue(9);
    EXPECT_EQ(port.Peek(0), 9u);
    EXPECT_EQ(port.Peek(4), 9u);
}

TEST(Ports, SwapEndianessTurnsEachWordAround) {
    auto map = Build(R"(<Port Name="Device"><SwapEndianess>Yes</SwapEndianess></Port>
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
          <Endianess>LittleEndian</Endianess></IntReg>)");
    MemoryPort port;
    map->Connect(&port);
    port.PokeBigEndian(0, 0x11223344);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Reg"))->GetValue(), 0x11223344);
    CIntegerPtr(map->GetNode("Reg"))->SetValue(0x01020304);
    EXPECT_EQ(port.Peek(0), 0x04030201u);
    CPortPtr device = map->GetNode("Device");
    ASSERT_TRUE(device.IsValid());
    uint8_t bytes[4] = {};
    device->Read(bytes, 0, 4); // through the port node, swapped the same way
    EXPECT_EQ(bytes[0], 0x04);
}

TEST(LegacyKinds, LoadAsTheRegistersTheyAre) {
    auto map = Build(R"(<Port Name="Device"/>
        <ConfRom Name="Rom"><Address>0</Address><Length>4</Length><pPort>Device</pPort></ConfRom>
        <IntKey Name="Key"><Address>4</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntKey>
        <AdvFeatureLock Name="Lock"><Address>8</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></AdvFeatureLock>
        <SmartFeature Name="Smart"><FeatureID>0123</FeatureID><Address>12</Address><Length>4</Length><pPort>Device</pPort></SmartFeature>
        <TextDesc Name="Text"><Address>16</Address><Length>8</Length><pPort>Device</pPort></TextDesc>)");
    MemoryPort port;
    map->Connect(&port);
    port.Poke(0, 5);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Rom"))->GetValue(), 5);
    CIntegerPtr(map->GetNode("Key"))->SetValue(3);
    EXPECT_EQ(port.Peek(4), 3u);
    EXPECT_TRUE(CIntegerPtr(map->GetNode("Lock")).IsValid());
    EXPECT_TRUE(CIntegerPtr(map->GetNode("Smart")).IsValid());
    EXPECT_EQ(CStringPtr(map->GetNode("Text"))->GetValue(), "");
}

TEST(Groups, AreTransparentForNamesAndSubtrees) {
    const std::string text = R"(<?xml version="1.0"?><RegisterDescription>
        <Group Comment="outer"><Group Comment="inner">
          <Category Name="ChunkData"><pFeature>Status</pFeature></Category></Group>
          <StructReg><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
            <StructEntry Name="Status"><Bit>0</Bit></StructEntry><StructEntry Name="Other"><Bit>1</Bit></StructEntry></StructReg>
        </Group><Port Name="Device"/><Integer Name="Unrelated"><Value>1</Value></Integer></RegisterDescription>)";
    CNodeMapFactory factory(ContentType_Auto, text.data(), text.size());
    GenApiTest::NodeMapHandle subtree(factory.ExtractSubtree("ChunkData").CreateNodeMap("Device", false));
    EXPECT_NE(subtree->GetNode("Status"), nullptr);
    EXPECT_NE(subtree->GetNode("Other"), nullptr); // entries of one structure come together
    EXPECT_EQ(subtree->GetNode("Unrelated"), nullptr);
    GenApiTest::NodeMapHandle whole(factory.CreateNodeMap());
    EXPECT_EQ(whole->GetNumNodes(), 5u);
}

} // namespace
