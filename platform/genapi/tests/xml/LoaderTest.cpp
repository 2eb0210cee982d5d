// Loading: plain and zipped descriptions, from memory and files, subtree extraction, release of
// the description, and every kind of bad input, each reported as a GenICam exception that
// names the node and the problem; and the sloppiness of real files that loading tolerates.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include <zip.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::ErrorOf;
using GenApiTest::MemoryPort;
using GenApiTest::NodeMapHandle;

const std::string kDescription = R"(<?xml version="1.0"?>
<RegisterDescription ModelName="Test" VendorName="Vireo">
  <Category Name="Root"><pFeature>Width</pFeature><pFeature>ChunkDataControl</pFeature></Category>
  <Integer Name="Width"><pValue>WidthReg</pValue></Integer>
  <IntReg Name="WidthReg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
  <Category Name="ChunkDataControl"><pFeature>ChunkWidth</pFeature></Category>
  <Integer Name="ChunkWidth"><pValue>ChunkWidthReg</pValue></Integer>
  <IntReg Name="ChunkWidthReg"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>ChunkPort</pPort></IntReg>
  <Port Name="ChunkPort"><ChunkID>1234</ChunkID></Port>
  <Port Name="Device"/>
</RegisterDescription>
)";

// Builds a zip archive with the given entries in a temporary file and returns its bytes.
std::vector<char> Zip(const std::vector<std::pair<std::string, std::string>>& entries) {
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("genapi-loader-" + std::to_string(::getpid()) + ".zip")).string();
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    EXPECT_NE(archive, nullptr);
    for (const auto& [name, content] : entries) {
        if (name.back() == '/') {
            zip_dir_add(archive, name.c_str(), 0);
            continue;
        }
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        if (zip_file_add(archive, name.c_str(), source, ZIP_FL_OVERWRITE) < 0) zip_source_free(source);
    }
    zip_close(archive);
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::filesystem::remove(path);
    return bytes;
}

NodeMapHandle FromBytes(const std::vector<char>& bytes, EContentType_t type = ContentType_Auto) {
    CNodeMapFactory factory(type, bytes.data(), bytes.size());
    return NodeMapHandle(factory.CreateNodeMap());
}

std::string LoadError(const std::string& nodes) {
    return ErrorOf([&] { Build(nodes); });
}

TEST(Loading, PlainAndZippedDescriptionsGiveTheSameNodes) {
    NodeMapHandle plain = FromBytes(std::vector<char>(kDescription.begin(), kDescription.end()));
    NodeMapHandle zipped = FromBytes(Zip({{"camera.xml", kDescription}}));
    NodeMapHandle junk = FromBytes(Zip({{"__MACOSX/", ""}, {"__MACOSX/._camera.xml", "junk"}, {"camera.XML", kDescription}}));
    EXPECT_EQ(plain->GetNumNodes(), zipped->GetNumNodes());
    EXPECT_EQ(plain->GetNumNodes(), junk->GetNumNodes());
    EXPECT_NE(zipped->GetNode("Width"), nullptr);
    EXPECT_EQ(plain->GetDeviceName(), "Device");
    NodeMapHandle forced = FromBytes(Zip({{"camera.xml", kDescription}}), ContentType_ZippedXml);
    EXPECT_NE(forced->GetNode("Width"), nullptr);
}

TEST(Loading, FromAFileAndWithTheDescriptionReleased) {
    const std::string path = (std::filesystem::temp_directory_path() / ("genapi-" + std::to_string(::getpid()) + ".xml")).string();
    std::ofstream(path) << kDescription;
    CNodeMapFactory factory(ContentType_Auto, path);
    std::filesystem::remove(path);
    EXPECT_TRUE(factory.IsLoaded());
    NodeMapHandle kept(factory.CreateNodeMap("Camera", false));
    EXPECT_EQ(kept->GetDeviceName(), "Camera");
    NodeMapHandle released(factory.CreateNodeMap());
    EXPECT_TRUE(factory.IsEmpty());
    EXPECT_THROW(factory.CreateNodeMap(), GenICam::LogicalErrorException);
    EXPECT_THROW(CNodeMapFactory(ContentType_Auto, "/nonexistent/camera.xml"), GenICam::RuntimeException);
    EXPECT_THROW(CNodeMapFactory().CreateNodeMap(), GenICam::LogicalErrorException);
}

TEST(Loading, ExtractsASubtreeWithEverythingItReferences) {
    CNodeMapFactory factory(ContentType_Auto, kDescription.data(), kDescription.size());
    CNodeMapFactory chunks = factory.ExtractSubtree("ChunkDataControl");
    NodeMapHandle map(chunks.CreateNodeMap());
    EXPECT_NE(map->GetNode("ChunkWidth"), nullptr);
    EXPECT_NE(map->GetNode("ChunkWidthReg"), nullptr);
    EXPECT_NE(map->GetNode("ChunkPort"), nullptr);
    EXPECT_EQ(map->GetNode("Width"), nullptr);
    EXPECT_EQ(map->GetNumNodes(), 4u);
    EXPECT_THROW(factory.ExtractSubtree("ChunkData"), GenICam::InvalidArgumentException);
    NodeMapHandle whole(factory.CreateNodeMap()); // the original factory is unaffected
    EXPECT_NE(whole->GetNode("Width"), nullptr);
}

TEST(BadInput, MalformedXmlAndWrongRootsAreRejected) {
    const std::string truncated = kDescription.substr(0, kDescription.size() / 2);
    EXPECT_NE(ErrorOf([&] { FromBytes(std::vector<char>(truncated.begin(), truncated.end())); }).find("not well-formed XML"),
              std::string::npos);
    const std::string wrongRoot = "<Camera/>";
    EXPECT_NE(ErrorOf([&] { FromBytes(std::vector<char>(wrongRoot.begin(), wrongRoot.end())); }).find("<RegisterDescription>"),
              std::string::npos);
    EXPECT_THROW(CNodeMapFactory(ContentType_Auto, "", 0), GenICam::InvalidArgumentException);
}

TEST(BadInput, BrokenZipArchivesAreRejected) {
    std::vector<char> archive = Zip({{"camera.xml", kDescription}});
    std::vector<char> truncated(archive.begin(), archive.begin() + static_cast<long>(archive.size() / 2));
    EXPECT_THROW(FromBytes(truncated), GenICam::RuntimeException);
    EXPECT_NE(ErrorOf([&] { FromBytes(Zip({{"a.xml", kDescription}, {"b.xml", kDescription}})); }).find("2 description files"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { FromBytes(Zip({{"readme.txt", "hello"}})); }).find("no description file"), std::string::npos);
    std::vector<char> corrupted = archive;
    for (size_t index = 40; index < 80 && index < corrupted.size(); ++index) corrupted[index] ^= 0x5A;
    EXPECT_THROW(FromBytes(corrupted), GenICam::RuntimeException);
}

TEST(BadInput, ElementsAndValuesTheEngineDoesNotKnow) {
    EXPECT_EQ(LoadError(R"(<Integer Name="A"><Value>1</Value><Colour>red</Colour></Integer>)"),
              "Node 'A' (Integer): unknown element <Colour>");
    EXPECT_NE(LoadError(R"(<Widget Name="A"/>)").find("Unknown element <Widget>"), std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value>ten</Value></Integer>)").find("<Value> 'ten' is not an integer"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value>1</Value><Visibility>Everyone</Visibility></Integer>)")
                  .find("unknown value 'Everyone'"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value>1</Value></Integer><Integer Name="A"><Value>2</Value></Integer>)")
                  .find("defined twice"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer><Value>1</Value></Integer>)").find("has no Name"), std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer Name="A"/>)").find("no <Value>, <pValue> or <pIndex>"), std::string::npos);
    EXPECT_NE(LoadError(R"(<Port Name="Device"/><IntReg Name="R"><Address>0</Address><pPort>Device</pPort></IntReg>)")
                  .find("no <Length>"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Port Name="Device"/><IntReg Name="R"><Address>0</Address><Length>9</Length><pPort>Device</pPort></IntReg>)")
                  .find("longer than 8 bytes"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Port Name="Device"/><MaskedIntReg Name="R"><Address>0</Address><Length>1</Length>
                           <pPort>Device</pPort><LSB>3</LSB><MSB>9</MSB></MaskedIntReg>)")
                  .find("does not fit"),
              std::string::npos);
}

TEST(BadInput, DanglingReferencesWrongKindsAndCycles) {
    EXPECT_EQ(LoadError(R"(<Integer Name="A"><pValue>Missing</pValue></Integer>)"),
              "Node 'A' (Integer): <pValue> refers to 'Missing', which does not exist");
    EXPECT_EQ(LoadError(R"(<Integer Name="A"><pValue>C</pValue></Integer><Category Name="C"/>)"),
              "Node 'A' (Integer): <pValue> refers to 'C', which is a Category, not an integer");
    EXPECT_NE(LoadError(R"(<Integer Name="A"><pValue>B</pValue></Integer><Integer Name="B"><pValue>A</pValue></Integer>)")
                  .find("reference cycle"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<IntSwissKnife Name="K"><pVariable Name="X">K</pVariable><Formula>X</Formula></IntSwissKnife>)")
                  .find("reference cycle K -> K"),
              std::string::npos);
    // Invalidator and selector links may point back: they are not reads.
    EXPECT_NO_THROW(Build(R"(<Integer Name="A"><Value>1</Value><pInvalidator>B</pInvalidator><pSelected>B</pSelected></Integer>
                             <Integer Name="B"><Value>1</Value><pInvalidator>A</pInvalidator></Integer>)"));
}

TEST(BadInput, FormulasWithMissingPartsWrongVariablesOrDivisionByZero) {
    EXPECT_NE(LoadError(R"(<IntSwissKnife Name="K"><Formula>1</Formula><pVariable Name="X">Missing</pVariable></IntSwissKnife>)")
                  .find("<pVariable> refers to 'Missing', which does not exist"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<IntSwissKnife Name="K"/>)").find("Node 'K' (IntSwissKnife): no <Formula>"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<IntSwissKnife Name="K"><pVariable Name="X">C</pVariable><Formula>X</Formula></IntSwissKnife>
                           <Category Name="C"/>)")
                  .find("is a Category"),
              std::string::npos);
    auto map = Build(R"(<Integer Name="Zero"><Value>0</Value></Integer>
        <IntSwissKnife Name="K"><pVariable Name="Z">Zero</pVariable><Formula>10 / Z</Formula></IntSwissKnife>)");
    EXPECT_EQ(ErrorOf([&] { CIntegerPtr(map->GetNode("K"))->GetValue(); }), "Node 'K': division by zero in formula '10 / Z'");
}

// Formulas over names that are not declared, as some cameras use for the conditions of
// registers, and formulas that do not parse at all.
const char* const kBrokenFormulas = R"(<Port Name="Device"/>
    <IntSwissKnife Name="Undeclared"><Formula>(SensorKind = 3) &amp;&amp; FirmwareFlag</Formula></IntSwissKnife>
    <IntSwissKnife Name="Garbled"><Formula>1 +* 2</Formula></IntSwissKnife>
    <IntSwissKnife Name="Combined"><pVariable Name="U">Undeclared</pVariable><Formula>U + 1</Formula></IntSwissKnife>
    <IntReg Name="Implemented"><pIsImplemented>Undeclared</pIsImplemented>
      <Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
    <IntReg Name="Available"><pIsAvailable>Combined</pIsAvailable>
      <Address>4</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
    <Integer Name="Locked"><pIsLocked>Garbled</pIsLocked><Value>3</Value></Integer>
    <Integer Name="Off"><Value>0</Value></Integer>
    <Integer Name="Guarded"><pIsImplemented>Undeclared</pIsImplemented><pIsAvailable>Off</pIsAvailable><Value>1</Value></Integer>
    <Integer Name="Through"><pValue>Undeclared</pValue></Integer>
    <SwissKnife Name="Ratio"><Formula>Gain / 2</Formula></SwissKnife>
    <IntReg Name="Raw"><Address>8</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
    <Converter Name="Scaled"><pValue>Raw</pValue><FormulaTo>FROM * 10</FormulaTo><FormulaFrom>TO / Scale</FormulaFrom></Converter>
    <IntConverter Name="Shifted"><pValue>Raw</pValue><FormulaTo>FROM - Offset</FormulaTo><FormulaFrom>TO + 1</FormulaFrom></IntConverter>
    <Integer Name="Width"><Value>640</Value></Integer>)";

TEST(LenientLoading, ABrokenFormulaFailsOnlyWhereItsNodeIsEvaluated) {
    NodeMapHandle map;
    ASSERT_NO_THROW(map = Build(kBrokenFormulas));
    MemoryPort port;
    map->Connect(&port);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Width"))->GetValue(), 640);

    CIntegerPtr undeclared = map->GetNode("Undeclared");
    EXPECT_TRUE(IsReadable(undeclared)); // reading tells why, an access error would not
    EXPECT_THROW(undeclared->GetValue(), GenICam::LogicalErrorException);
    EXPECT_NE(ErrorOf([&] { undeclared->GetValue(); }).find("Node 'Undeclared': formula '(SensorKind = 3) && FirmwareFlag': unknown name"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { CIntegerPtr(map->GetNode("Garbled"))->GetValue(); }).find("Node 'Garbled'"), std::string::npos);
    // Readers of a broken node fail naming the broken node.
    EXPECT_NE(ErrorOf([&] { CIntegerPtr(map->GetNode("Combined"))->GetValue(); }).find("Node 'Undeclared'"), std::string::npos);
    EXPECT_NE(ErrorOf([&] { CIntegerPtr(map->GetNode("Through"))->ToString(); }).find("Node 'Undeclared'"), std::string::npos);

    // Float formulas and both directions of converters behave the same.
    EXPECT_NE(ErrorOf([&] { CFloatPtr(map->GetNode("Ratio"))->GetValue(); }).find("Node 'Ratio'"), std::string::npos);
    EXPECT_THROW(CFloatPtr(map->GetNode("Ratio"))->GetValue(), GenICam::LogicalErrorException);
    CIntegerPtr raw = map->GetNode("Raw");
    raw->SetValue(40);
    EXPECT_NE(ErrorOf([&] { CFloatPtr(map->GetNode("Scaled"))->GetValue(); }).find("Node 'Scaled'"), std::string::npos);
    CFloatPtr(map->GetNode("Scaled"))->SetValue(5.0);
    EXPECT_EQ(raw->GetValue(), 50);
    CIntegerPtr shifted = map->GetNode("Shifted");
    EXPECT_EQ(shifted->GetValue(), 51);
    EXPECT_NE(ErrorOf([&] { shifted->SetValue(7); }).find("Node 'Shifted'"), std::string::npos);
    EXPECT_EQ(raw->GetValue(), 50);
}

TEST(LenientLoading, ConditionsThatCannotBeComputedLeaveTheirNodeUsable) {
    auto map = Build(kBrokenFormulas);
    MemoryPort port;
    map->Connect(&port);
    // A broken condition says nothing, as if it were not there; the working ones still count.
    CIntegerPtr implemented = map->GetNode("Implemented");
    EXPECT_EQ(implemented->GetAccessMode(), RW);
    implemented->SetValue(17);
    EXPECT_EQ(implemented->GetValue(), 17);
    EXPECT_EQ(port.Peek(0), 17u);
    EXPECT_EQ(map->GetNode("Available")->GetAccessMode(), RW);
    EXPECT_EQ(map->GetNode("Locked")->GetAccessMode(), RW);
    EXPECT_EQ(map->GetNode("Guarded")->GetAccessMode(), NA);
}

TEST(LenientLoading, EmptyOptionalElementsTakeTheirDefaults) {
    NodeMapHandle map;
    ASSERT_NO_THROW(map = Build(R"(<Port Name="Device"><SwapEndianess/><ChunkID></ChunkID></Port>
        <Integer Name="Plain"><Value>5</Value><Streamable/><Visibility></Visibility><Min/><Max> </Max><Inc/>
          <Representation/><Cachable/><PollingTime/><IsDeprecated/><ImposedAccessMode/></Integer>
        <IntReg Name="Reg"><Address>0</Address><Length>2</Length><AccessMode/><pPort>Device</pPort><Sign/><Endianess/></IntReg>
        <Float Name="Gain"><Value>1.5</Value><DisplayNotation/><DisplayPrecision/><Min/><Max/><Inc/></Float>
        <IntConverter Name="Twice"><pValue>Plain</pValue><FormulaTo>FROM / 2</FormulaTo><FormulaFrom>TO * 2</FormulaFrom>
          <IsLinear/><Slope/></IntConverter>
        <Boolean Name="Flag"><Value>1</Value><OnValue/><OffValue/></Boolean>
        <Enumeration Name="Mode"><EnumEntry Name="Only"><Value>0</Value><NumericValue/><IsSelfClearing/></EnumEntry>
          <Value>0</Value></Enumeration>)"));
    INode* plain = map->GetNode("Plain");
    EXPECT_FALSE(plain->IsStreamable());
    EXPECT_FALSE(plain->IsDeprecated());
    EXPECT_EQ(plain->GetVisibility(), Beginner);
    EXPECT_EQ(plain->GetCachingMode(), WriteThrough);
    EXPECT_EQ(plain->GetPollingTime(), -1);
    EXPECT_EQ(plain->GetAccessMode(), RW);
    CIntegerPtr integer = plain;
    EXPECT_EQ(integer->GetMin(), INT64_MIN);
    EXPECT_EQ(integer->GetMax(), INT64_MAX);
    EXPECT_EQ(integer->GetInc(), 1);
    EXPECT_EQ(integer->GetRepresentation(), PureNumber);

    MemoryPort port;
    map->Connect(&port);
    port.Poke(0, 0xFFFE, 2);
    CIntegerPtr reg = map->GetNode("Reg");
    EXPECT_EQ(reg->GetAccessMode(), RO);         // a register's default mode
    EXPECT_EQ(reg->GetValue(), 0xFFFE);          // unsigned, little-endian, port not swapped
    CFloatPtr gain = map->GetNode("Gain");
    EXPECT_EQ(gain->GetDisplayNotation(), fnAutomatic);
    EXPECT_EQ(gain->GetDisplayPrecision(), 6);
    EXPECT_FALSE(gain->HasInc());
    EXPECT_EQ(CIntegerPtr(map->GetNode("Twice"))->GetValue(), 10);
    EXPECT_TRUE(CBooleanPtr(map->GetNode("Flag"))->GetValue());
    EXPECT_EQ(CEnumerationPtr(map->GetNode("Mode"))->ToString(), "Only");
}

TEST(LenientLoading, StaysStrictWhereAnEmptyElementLeavesNothingToUse) {
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value/></Integer>)").find("Node 'A' (Integer): <Value> '' is not an integer"),
              std::string::npos);
    EXPECT_EQ(LoadError(R"(<Integer Name="A"><pValue/></Integer>)"), "Node 'A' (Integer): <pValue> is empty");
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value>1</Value><pIsAvailable></pIsAvailable></Integer>)").find("Node 'A'"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Port Name="Device"/><IntReg Name="R"><Address>0</Address><Length/><pPort>Device</pPort></IntReg>)")
                  .find("Node 'R'"),
              std::string::npos);
    EXPECT_NE(LoadError(R"(<Integer Name="A"><Value>1</Value><Streamable>Maybe</Streamable></Integer>)")
                  .find("Node 'A' (Integer): <Streamable> 'Maybe' is neither Yes nor No"),
              std::string::npos);
}

TEST(BadInput, RegisterAccessOutsideItsPortFails) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="R"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>)");
    EXPECT_THROW(CIntegerPtr(map->GetNode("R"))->GetValue(), GenICam::AccessException);
    EXPECT_FALSE(map->Connect(nullptr, "NoSuchPort"));
    EXPECT_FALSE(map->Connect(nullptr, "R"));
}

} // namespace
