// Every description file of the shared corpus loads, connects to a port backed by memory, and
// every readable feature can be read; failures may only be GenICam exceptions.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::MemoryPort;
using GenApiTest::NodeMapHandle;

std::vector<std::string> CorpusFiles() {
    std::vector<std::string> files;
    const std::filesystem::path directory = VIREO_SHARED_DIR "/genicam-corpus";
    if (!std::filesystem::is_directory(directory)) return files;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        if (entry.path().extension() == ".xml") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

class Corpus : public ::testing::TestWithParam<std::string> {};

TEST_P(Corpus, LoadsConnectsAndReadsEveryReadableFeature) {
    NodeMapHandle map(CNodeMapFactory(ContentType_Auto, GetParam()).CreateNodeMap());
    ASSERT_TRUE(map);
    MemoryPort port;
    NodeList_t ports;
    map->GetNodes(ports);
    size_t connected = 0;
    for (INode* node : ports)
        if (node->GetPrincipalInterfaceType() == intfIPort && node->GetEventID().empty() && map->Connect(&port, node->GetName()))
            ++connected;
    EXPECT_GT(connected, 0u);

    NodeList_t nodes;
    map->GetNodes(nodes);
    EXPECT_EQ(nodes.size(), map->GetNumNodes());
    size_t read = 0;
    size_t failed = 0;
    for (INode* node : nodes) {
        try {
            if (!IsReadable(node)) continue;
            CValuePtr value(node);
            if (!value.IsValid()) continue;
            (void)value->ToString();
            if (CIntegerPtr integer = node) {
                (void)integer->GetMin();
                (void)integer->GetMax();
            }
            if (CEnumerationPtr enumeration = node) {
                StringList_t symbolics;
                enumeration->GetSymbolics(symbolics);
            }
            ++read;
        } catch (const GenICam::GenericException& error) {
            if (getenv("CORPUS_VERBOSE")) std::printf("  %s\n", error.GetDescription());
            ++failed; // zeroed registers may make formulas divide by zero, for example
        }
    }
    EXPECT_GT(read, 0u);
    std::printf("%s: %zu nodes, %zu read, %zu failed\n", std::filesystem::path(GetParam()).filename().c_str(), nodes.size(), read, failed);
    RecordProperty("read", static_cast<int>(read));
    RecordProperty("failed", static_cast<int>(failed));
}

TEST_P(Corpus, ExtractsTheChunkSubtreeWhenThereIsOne) {
    CNodeMapFactory factory(ContentType_Auto, GetParam());
    for (const char* category : {"ChunkDataControl", "ChunkData"}) {
        try {
            CNodeMapFactory subtree = factory.ExtractSubtree(category);
            NodeMapHandle map(subtree.CreateNodeMap("Device"));
            EXPECT_NE(map->GetNode(category), nullptr);
            return;
        } catch (const GenICam::InvalidArgumentException&) {
        }
    }
}

// An integer over an indexed value with no range of its own, as a real camera has it: its
// range is the range of the register the ROI selector picks.
TEST(CorpusRanges, FollowTheNodeAnIndexedValueSelects) {
    const std::string path = VIREO_SHARED_DIR "/genicam-corpus/basler_a2a2600-20gmbas.xml";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " is not there";
    NodeMapHandle map(CNodeMapFactory(ContentType_Auto, path).CreateNodeMap());
    MemoryPort port;
    ASSERT_TRUE(map->Connect(&port, "Device"));
    // Minimum, maximum and increment of the height of ROI1, then of ROI2.
    port.PokeBigEndian(0x10007c40, 1);
    port.PokeBigEndian(0x10007c44, 2048);
    port.PokeBigEndian(0x10007c48, 2);
    port.PokeBigEndian(0x10007c8c, 8);
    port.PokeBigEndian(0x10007c90, 1024);
    port.PokeBigEndian(0x10007c94, 4);
    CIntegerPtr height = map->GetNode("AutoFunctionROIHeight");
    ASSERT_TRUE(height.IsValid());
    EXPECT_EQ(height->GetMin(), 1);
    EXPECT_EQ(height->GetMax(), 2048);
    EXPECT_EQ(height->GetInc(), 2);
    CEnumerationPtr(map->GetNode("AutoFunctionROISelector"))->FromString("ROI2");
    EXPECT_EQ(height->GetMin(), 8);
    EXPECT_EQ(height->GetMax(), 1024);
    EXPECT_EQ(height->GetInc(), 4);
}

INSTANTIATE_TEST_SUITE_P(GenICamCorpus, Corpus, ::testing::ValuesIn(CorpusFiles()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = std::filesystem::path(info.param).stem().string();
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Corpus);

} // namespace
