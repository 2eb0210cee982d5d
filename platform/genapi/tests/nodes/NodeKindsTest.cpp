// Each node kind on a small description: where its value lives, how register bytes are
// interpreted, ranges, and the interfaces it offers.
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::ErrorOf;
using GenApiTest::MemoryPort;

const char* const kPort = "<Port Name=\"Device\"/>";

TEST(IntegerNode, HoldsALiteralValueWithRangeAndIncrement) {
    auto map = Build(R"(<Integer Name="Width"><Value>64</Value><Min>16</Min><Max>128</Max><Inc>16</Inc>
                        <Unit>px</Unit><Representation>Linear</Representation></Integer>)");
    CIntegerPtr width = map->GetNode("Width");
    ASSERT_TRUE(width.IsValid());
    EXPECT_EQ(width->GetValue(), 64);
    EXPECT_EQ(width->GetMin(), 16);
    EXPECT_EQ(width->GetMax(), 128);
    EXPECT_EQ(width->GetInc(), 16);
    EXPECT_EQ(width->GetIncMode(), fixedIncrement);
    EXPECT_EQ(width->GetUnit(), "px");
    EXPECT_EQ(width->GetRepresentation(), Linear);
    *width = 96;
    EXPECT_EQ((*width)(), 96);
    EXPECT_EQ(width->GetAccessMode(), RW);
    EXPECT_EQ(width->GetNode()->GetPrincipalInterfaceType(), intfIInteger);
}

TEST(IntegerNode, RejectsValuesOutsideTheRangeOrOffTheIncrement) {
    auto map = Build(R"(<Integer Name="Width"><Value>64</Value><Min>16</Min><Max>128</Max><Inc>16</Inc></Integer>)");
    CIntegerPtr width = map->GetNode("Width");
    EXPECT_THROW(width->SetValue(8), GenICam::OutOfRangeException);
    EXPECT_THROW(width->SetValue(144), GenICam::OutOfRangeException);
    EXPECT_THROW(width->SetValue(40), GenICam::OutOfRangeException);
    EXPECT_NE(ErrorOf([&] { width->SetValue(144); }).find("Node 'Width': value 144 must be smaller than or equal to the maximum 128"),
              std::string::npos);
    EXPECT_NE(ErrorOf([&] { width->SetValue(40); }).find("multiple of the increment 16"), std::string::npos);
    EXPECT_EQ(width->GetValue(), 64); // a refused value is not stored
    width->ImposeMax(64);
    EXPECT_EQ(width->GetMax(), 64);
    EXPECT_THROW(width->SetValue(80), GenICam::OutOfRangeException);
}

TEST(IntegerNode, TakesValueAndRangeFromOtherNodes) {
    auto map = Build(std::string(kPort) + R"(
        <Integer Name="Gain"><pValue>GainReg</pValue><pMin>GainMin</pMin><pMax>GainMax</pMax></Integer>
        <IntReg Name="GainReg"><Address>0x10</Address><Length>2</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
          <Sign>Signed</Sign><Endianess>BigEndian</Endianess></IntReg>
        <Integer Name="GainMin"><Value>-100</Value></Integer>
        <Integer Name="GainMax"><Value>100</Value></Integer>
        <Integer Name="Raw"><pValue>GainReg</pValue></Integer>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr gain = map->GetNode("Gain");
    gain->SetValue(-2);
    EXPECT_EQ(port.Peek(0x10, 2), 0xFEFFu); // big-endian 0xFFFE stored byte by byte
    EXPECT_EQ(gain->GetValue(), -2);
    EXPECT_EQ(gain->GetMin(), -100);
    // Without its own range an integer has the range of the register it points to.
    CIntegerPtr raw = map->GetNode("Raw");
    EXPECT_EQ(raw->GetMin(), -32768);
    EXPECT_EQ(raw->GetMax(), 32767);
}

TEST(IntegerNode, SelectsItsValueByIndex) {
    auto map = Build(R"(
        <Enumeration Name="Selector"><pSelected>Offset</pSelected>
          <EnumEntry Name="A"><Value>0</Value></EnumEntry><EnumEntry Name="B"><Value>1</Value></EnumEntry>
          <EnumEntry Name="C"><Value>2</Value></EnumEntry><Value>0</Value></Enumeration>
        <Integer Name="Offset"><pIndex>Selector</pIndex><ValueIndexed Index="0">10</ValueIndexed>
          <pValueIndexed Index="1">Other</pValueIndexed><ValueDefault>99</ValueDefault></Integer>
        <Integer Name="Other"><Value>20</Value></Integer>)");
    CIntegerPtr offset = map->GetNode("Offset");
    CEnumerationPtr selector = map->GetNode("Selector");
    EXPECT_EQ(offset->GetValue(), 10);
    *selector = "B";
    EXPECT_EQ(offset->GetValue(), 20);
    offset->SetValue(25);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Other"))->GetValue(), 25);
    *selector = "C";
    EXPECT_EQ(offset->GetValue(), 99);
    *selector = "A";
    offset->SetValue(11);
    EXPECT_EQ(offset->GetValue(), 11);
}

TEST(IntegerNode, TakesTheRangeOfTheNodeItsIndexSelects) {
    // The shape of auto-function ROIs: the value is one of several registers, each with its
    // own range, chosen by a selector.
    auto map = Build(R"(
        <Integer Name="Selector"><Value>0</Value></Integer>
        <Integer Name="Height"><pIndex>Selector</pIndex><pValueIndexed Index="0">Small</pValueIndexed>
          <pValueIndexed Index="1">Large</pValueIndexed><ValueIndexed Index="2">7</ValueIndexed>
          <pValueDefault>Small</pValueDefault></Integer>
        <Integer Name="Small"><Value>8</Value><Min>4</Min><Max>64</Max><Inc>4</Inc></Integer>
        <Integer Name="Large"><Value>100</Value><pMin>LargeMin</pMin><Max>2048</Max><Inc>2</Inc></Integer>
        <Integer Name="LargeMin"><Value>10</Value></Integer>
        <Integer Name="Capped"><pIndex>Selector</pIndex><pValueIndexed Index="0">Small</pValueIndexed>
          <pValueDefault>Large</pValueDefault><Max>50</Max></Integer>)");
    CIntegerPtr height = map->GetNode("Height");
    CIntegerPtr selector = map->GetNode("Selector");
    CIntegerPtr capped = map->GetNode("Capped");
    EXPECT_EQ(height->GetMin(), 4);
    EXPECT_EQ(height->GetMax(), 64);
    EXPECT_EQ(height->GetInc(), 4);
    EXPECT_THROW(height->SetValue(100), GenICam::OutOfRangeException);
    EXPECT_THROW(height->SetValue(6), GenICam::OutOfRangeException);
    EXPECT_EQ(capped->GetMin(), 4);
    EXPECT_EQ(capped->GetMax(), 50); // its own limit wins over the selected node's

    selector->SetValue(1);
    EXPECT_EQ(height->GetMin(), 10);
    EXPECT_EQ(height->GetMax(), 2048);
    EXPECT_EQ(height->GetInc(), 2);
    height->SetValue(100 + 2 * 450);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Large"))->GetValue(), 1000);
    CIntegerPtr(map->GetNode("LargeMin"))->SetValue(20);
    EXPECT_EQ(height->GetMin(), 20);

    selector->SetValue(2); // a literal has no range
    EXPECT_EQ(height->GetMin(), INT64_MIN);
    EXPECT_EQ(height->GetMax(), INT64_MAX);
    EXPECT_EQ(height->GetInc(), 1);

    selector->SetValue(5); // no entry: the default's range
    EXPECT_EQ(height->GetMin(), 4);
    EXPECT_EQ(height->GetMax(), 64);
    EXPECT_EQ(capped->GetMin(), 20);
}

TEST(IntRegNode, ReadsEveryLengthSignAndByteOrder) {
    auto map = Build(std::string(kPort) + R"(
        <IntReg Name="U8"><Address>0</Address><Length>1</Length><pPort>Device</pPort></IntReg>
        <IntReg Name="S16LE"><Address>0x10</Address><Length>2</Length><pPort>Device</pPort><Sign>Signed</Sign></IntReg>
        <IntReg Name="U32BE"><Address>0x20</Address><Length>4</Length><pPort>Device</pPort><Endianess>BigEndian</Endianess></IntReg>
        <IntReg Name="S64BE"><Address>0x30</Address><Length>8</Length><pPort>Device</pPort><Sign>Signed</Sign>
          <Endianess>BigEndian</Endianess></IntReg>
        <IntReg Name="U24"><Address>0x40</Address><Length>3</Length><pPort>Device</pPort></IntReg>)");
    MemoryPort port;
    map->Connect(&port);
    port.Poke(0, 0xFF, 1);
    port.Poke(0x10, 0xFFFE, 2);
    port.PokeBigEndian(0x20, 0x12345678, 4);
    port.PokeBigEndian(0x30, static_cast<uint64_t>(-5), 8);
    port.Poke(0x40, 0xABCDEF, 3);
    EXPECT_EQ(CIntegerPtr(map->GetNode("U8"))->GetValue(), 255);
    EXPECT_EQ(CIntegerPtr(map->GetNode("S16LE"))->GetValue(), -2);
    EXPECT_EQ(CIntegerPtr(map->GetNode("U32BE"))->GetValue(), 0x12345678);
    EXPECT_EQ(CIntegerPtr(map->GetNode("S64BE"))->GetValue(), -5);
    EXPECT_EQ(CIntegerPtr(map->GetNode("U24"))->GetValue(), 0xABCDEF);
    EXPECT_EQ(CIntegerPtr(map->GetNode("U24"))->GetMax(), 0xFFFFFF);
    // Registers default to read-only.
    EXPECT_EQ(map->GetNode("U8")->GetAccessMode(), RO);
    EXPECT_THROW(CIntegerPtr(map->GetNode("U8"))->SetValue(1), GenICam::AccessException);
    CRegisterPtr bytes = map->GetNode("U32BE");
    ASSERT_TRUE(bytes.IsValid());
    EXPECT_EQ(bytes->GetAddress(), 0x20);
    EXPECT_EQ(bytes->GetLength(), 4);
}

TEST(IntRegNode, AddsAddressesIndexOffsetsAndInlineFormulas) {
    auto map = Build(std::string(kPort) + R"(
        <Integer Name="Base"><Value>0x100</Value></Integer>
        <Integer Name="Index"><Value>2</Value></Integer>
        <IntReg Name="Reg"><Address>0x10</Address><pAddress>Base</pAddress><pIndex Offset="8">Index</pIndex>
          <IntSwissKnife><pVariable Name="B">Base</pVariable><Formula>B * 2</Formula></IntSwissKnife>
          <Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr reg = map->GetNode("Reg");
    reg->SetValue(7);
    const int64_t address = 0x10 + 0x100 + 2 * 8 + 0x200;
    EXPECT_EQ(CRegisterPtr(reg.operator IInteger*()->GetNode())->GetAddress(), address);
    EXPECT_EQ(port.Peek(address), 7u);
}

TEST(MaskedIntRegNode, ReadsAndWritesBitFieldsInBothNumberings) {
    auto map = Build(std::string(kPort) + R"(
        <MaskedIntReg Name="LowNibble"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort><LSB>0</LSB><MSB>3</MSB></MaskedIntReg>
        <MaskedIntReg Name="Flag"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort><Bit>8</Bit></MaskedIntReg>
        <MaskedIntReg Name="TopByteBE"><Address>0x10</Address><Length>4</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort><LSB>7</LSB><MSB>0</MSB><Endianess>BigEndian</Endianess></MaskedIntReg>
        <MaskedIntReg Name="SignedField"><Address>0x20</Address><Length>4</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort><LSB>4</LSB><MSB>7</MSB><Sign>Signed</Sign></MaskedIntReg>)");
    MemoryPort port;
    map->Connect(&port);
    port.Poke(0, 0x1234);
    EXPECT_EQ(CIntegerPtr(map->GetNode("LowNibble"))->GetValue(), 4);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Flag"))->GetValue(), 0);
    CIntegerPtr(map->GetNode("Flag"))->SetValue(1);
    EXPECT_EQ(port.Peek(0), 0x1334u); // the other bits keep their values
    EXPECT_EQ(CIntegerPtr(map->GetNode("LowNibble"))->GetMax(), 15);
    EXPECT_THROW(CIntegerPtr(map->GetNode("LowNibble"))->SetValue(16), GenICam::OutOfRangeException);
    port.PokeBigEndian(0x10, 0xAB000000);
    EXPECT_EQ(CIntegerPtr(map->GetNode("TopByteBE"))->GetValue(), 0xAB);
    port.Poke(0x20, 0xF0);
    EXPECT_EQ(CIntegerPtr(map->GetNode("SignedField"))->GetValue(), -1);
    EXPECT_EQ(CIntegerPtr(map->GetNode("SignedField"))->GetMin(), -8);
}

TEST(StructRegNode, GivesEachEntryTheStructureRegister) {
    auto map = Build(std::string(kPort) + R"(
        <StructReg Comment="Status"><Address>0x40</Address><Length>4</Length><AccessMode>RO</AccessMode>
          <pPort>Device</pPort><Endianess>BigEndian</Endianess>
          <StructEntry Name="Ready"><Bit>31</Bit></StructEntry>
          <StructEntry Name="Mode"><LSB>7</LSB><MSB>4</MSB><AccessMode>RW</AccessMode></StructEntry>
        </StructReg>)");
    MemoryPort port;
    map->Connect(&port);
    port.PokeBigEndian(0x40, 0x00000051);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Ready"))->GetValue(), 1);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Mode"))->GetValue(), 0xF & (0x51 >> 24)); // bits 4..7 counted from the top
    EXPECT_EQ(map->GetNode("Ready")->GetAccessMode(), RO);
    EXPECT_EQ(map->GetNode("Mode")->GetAccessMode(), RW);
}

TEST(FloatNodes, LiteralRegisterSwissKnifeAndConverter) {
    auto map = Build(std::string(kPort) + R"(
        <Float Name="Exposure"><Value>100.5</Value><Min>10</Min><Max>1000</Max><Unit>us</Unit>
          <DisplayNotation>Fixed</DisplayNotation><DisplayPrecision>2</DisplayPrecision></Float>
        <FloatReg Name="Temperature"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort><Endianess>BigEndian</Endianess></FloatReg>
        <FloatReg Name="Precise"><Address>8</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></FloatReg>
        <SwissKnife Name="Ratio"><pVariable Name="E">Exposure</pVariable><Formula>E / 4</Formula></SwissKnife>
        <IntReg Name="ExposureRaw"><Address>0x20</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Converter Name="ExposureTime"><FormulaTo>FROM * 10</FormulaTo><FormulaFrom>TO / 10</FormulaFrom>
          <pValue>ExposureRaw</pValue><Slope>Increasing</Slope></Converter>)");
    MemoryPort port;
    map->Connect(&port);
    CFloatPtr exposure = map->GetNode("Exposure");
    EXPECT_DOUBLE_EQ(exposure->GetValue(), 100.5);
    EXPECT_EQ(exposure->ToString(), "100.50");
    EXPECT_FALSE(exposure->HasInc());
    EXPECT_THROW(exposure->SetValue(5.0), GenICam::OutOfRangeException);
    EXPECT_DOUBLE_EQ(CFloatPtr(map->GetNode("Ratio"))->GetValue(), 25.125);
    EXPECT_EQ(map->GetNode("Ratio")->GetAccessMode(), RO);

    CFloatPtr temperature = map->GetNode("Temperature");
    temperature->SetValue(-1.5);
    EXPECT_EQ(port.Peek(0), 0x0000C0BFu); // 0xBFC00000 big-endian
    EXPECT_DOUBLE_EQ(temperature->GetValue(), -1.5);
    CFloatPtr precise = map->GetNode("Precise");
    precise->SetValue(0.1);
    EXPECT_DOUBLE_EQ(precise->GetValue(), 0.1);

    CFloatPtr converted = map->GetNode("ExposureTime");
    converted->SetValue(12.5);
    EXPECT_EQ(port.Peek(0x20), 125u);
    EXPECT_DOUBLE_EQ(converted->GetValue(), 12.5);
    EXPECT_DOUBLE_EQ(converted->GetMax(), 4294967295.0 / 10);
}

TEST(FloatNodes, TakeRangeAndIncrementFromTheNodeTheirValueComesFrom) {
    auto map = Build(R"(
        <Integer Name="Selector"><Value>0</Value></Integer>
        <Float Name="Exposure"><pIndex>Selector</pIndex><pValueIndexed Index="0">Short</pValueIndexed>
          <pValueDefault>Long</pValueDefault></Float>
        <Float Name="Short"><Value>10</Value><Min>1</Min><Max>100</Max><Inc>0.5</Inc></Float>
        <Float Name="Long"><Value>1000</Value><Min>100</Min><Max>1e6</Max></Float>
        <Float Name="Mirror"><pValue>Short</pValue></Float>)");
    CFloatPtr exposure = map->GetNode("Exposure");
    EXPECT_DOUBLE_EQ(exposure->GetMin(), 1);
    EXPECT_DOUBLE_EQ(exposure->GetMax(), 100);
    EXPECT_TRUE(exposure->HasInc());
    EXPECT_DOUBLE_EQ(exposure->GetInc(), 0.5);
    EXPECT_THROW(exposure->SetValue(200), GenICam::OutOfRangeException);
    EXPECT_THROW(exposure->SetValue(10.25), GenICam::OutOfRangeException);
    exposure->SetValue(12.5);
    EXPECT_DOUBLE_EQ(CFloatPtr(map->GetNode("Short"))->GetValue(), 12.5);
    CFloatPtr mirror = map->GetNode("Mirror");
    EXPECT_DOUBLE_EQ(mirror->GetMax(), 100);
    EXPECT_DOUBLE_EQ(mirror->GetInc(), 0.5);

    CIntegerPtr(map->GetNode("Selector"))->SetValue(3);
    EXPECT_DOUBLE_EQ(exposure->GetMin(), 100);
    EXPECT_DOUBLE_EQ(exposure->GetMax(), 1e6);
    EXPECT_FALSE(exposure->HasInc());
    exposure->SetValue(200);
    EXPECT_DOUBLE_EQ(CFloatPtr(map->GetNode("Long"))->GetValue(), 200);
}

TEST(IntegerFormulaNodes, IntSwissKnifeAndIntConverter) {
    auto map = Build(std::string(kPort) + R"(
        <Integer Name="Width"><Value>640</Value></Integer>
        <Integer Name="Height"><Value>480</Value></Integer>
        <Enumeration Name="Format"><EnumEntry Name="Mono8"><Value>8</Value></EnumEntry>
          <EnumEntry Name="Mono16"><Value>16</Value></EnumEntry><Value>16</Value></Enumeration>
        <IntSwissKnife Name="PayloadSize"><pVariable Name="W">Width</pVariable><pVariable Name="H">Height</pVariable>
          <pVariable Name="F">Format</pVariable><Constant Name="BITS">8</Constant><Expression Name="PIXELS">W * H</Expression>
          <Formula>PIXELS * F / BITS + (F = F.Entry.Mono16)</Formula></IntSwissKnife>
        <IntReg Name="BinningReg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntConverter Name="Binning"><FormulaTo>FROM - 1</FormulaTo><FormulaFrom>TO + 1</FormulaFrom>
          <pValue>BinningReg</pValue></IntConverter>)");
    MemoryPort port;
    map->Connect(&port);
    EXPECT_EQ(CIntegerPtr(map->GetNode("PayloadSize"))->GetValue(), 640 * 480 * 2 + 1);
    CIntegerPtr binning = map->GetNode("Binning");
    binning->SetValue(4);
    EXPECT_EQ(port.Peek(0), 3u);
    EXPECT_EQ(binning->GetValue(), 4);
    EXPECT_EQ(binning->GetMin(), 1);
}

TEST(BooleanNode, MapsOnAndOffValues) {
    auto map = Build(std::string(kPort) + R"(
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Boolean Name="Enable"><pValue>Reg</pValue><OnValue>5</OnValue><OffValue>3</OffValue></Boolean>)");
    MemoryPort port;
    map->Connect(&port);
    CBooleanPtr enable = map->GetNode("Enable");
    enable->SetValue(true);
    EXPECT_EQ(port.Peek(0), 5u);
    EXPECT_TRUE(enable->GetValue());
    *enable = false;
    EXPECT_EQ(port.Peek(0), 3u);
    EXPECT_EQ(enable->ToString(), "0");
    enable->FromString("true");
    EXPECT_TRUE((*enable)());
    port.Poke(0, 4);
    map->InvalidateNodes();
    EXPECT_THROW(enable->GetValue(), GenICam::RuntimeException); // neither on nor off
}

TEST(CommandNode, ExecutesAndReportsDone) {
    auto map = Build(std::string(kPort) + R"(
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Command Name="Start"><pValue>Reg</pValue><CommandValue>7</CommandValue></Command>)");
    MemoryPort port;
    map->Connect(&port);
    CCommandPtr start = map->GetNode("Start");
    EXPECT_TRUE(start->IsDone());
    start->Execute();
    EXPECT_EQ(port.Peek(0), 7u);
    EXPECT_FALSE(start->IsDone());
    port.Poke(0, 0); // the device finished
    EXPECT_TRUE(start->IsDone());
    EXPECT_EQ(start->GetAccessMode(), WO);
}

TEST(EnumerationNode, NamesValuesAndHonoursEntryAvailability) {
    auto map = Build(std::string(kPort) + R"(
        <Integer Name="HasC"><Value>0</Value></Integer>
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Enumeration Name="Mode"><pValue>Reg</pValue>
          <EnumEntry Name="Off"><Value>0</Value></EnumEntry>
          <EnumEntry Name="On"><Value>1</Value><NumericValue>1.5</NumericValue></EnumEntry>
          <EnumEntry Name="Special"><Value>2</Value><pIsAvailable>HasC</pIsAvailable></EnumEntry>
        </Enumeration>)");
    MemoryPort port;
    map->Connect(&port);
    CEnumerationPtr mode = map->GetNode("Mode");
    EXPECT_EQ(mode->ToString(), "Off");
    *mode = "On";
    EXPECT_EQ(port.Peek(0), 1u);
    EXPECT_EQ(mode->GetIntValue(), 1);
    EXPECT_EQ(mode->GetCurrentEntry()->GetSymbolic(), "On");
    EXPECT_DOUBLE_EQ(mode->GetCurrentEntry()->GetNumericValue(), 1.5);
    StringList_t symbolics;
    mode->GetSymbolics(symbolics);
    EXPECT_EQ(symbolics.size(), 2u);
    NodeList_t entries;
    mode->GetEntries(entries);
    EXPECT_EQ(entries.size(), 3u);
    EXPECT_EQ(mode->GetEntryByName("Special")->GetValue(), 2);
    EXPECT_EQ(map->GetNode("EnumEntry_Mode_Special"), mode->GetEntryByName("Special")->GetNode());
    EXPECT_THROW(mode->SetIntValue(2), GenICam::AccessException);
    EXPECT_THROW(mode->SetIntValue(5), GenICam::OutOfRangeException);
    EXPECT_THROW(mode->FromString("Bogus"), GenICam::InvalidArgumentException);
    CIntegerPtr(map->GetNode("HasC"))->SetValue(1);
    mode->SetIntValue(2);
    EXPECT_EQ(**mode, "Special");
    port.Poke(0, 9);
    map->InvalidateNodes();
    EXPECT_THROW(mode->ToString(), GenICam::RuntimeException);
}

TEST(StringNodes, LiteralAndRegisterStrings) {
    auto map = Build(std::string(kPort) + R"(
        <String Name="Vendor"><Value>Vireo</Value></String>
        <StringReg Name="UserName"><Address>0x100</Address><Length>8</Length><AccessMode>RW</AccessMode>
          <pPort>Device</pPort></StringReg>)");
    MemoryPort port;
    map->Connect(&port);
    CStringPtr vendor = map->GetNode("Vendor");
    EXPECT_EQ(vendor->GetValue(), "Vireo");
    CStringPtr user = map->GetNode("UserName");
    user->SetValue("camera");
    EXPECT_EQ(user->GetValue(), "camera");
    EXPECT_EQ(user->GetMaxLength(), 8);
    EXPECT_THROW(user->SetValue("much too long"), GenICam::OutOfRangeException);
    user->SetValue("full8chr");
    EXPECT_EQ(user->GetValue(false, true), "full8chr"); // no terminator needed when full
}

TEST(RegisterNode, ReadsAndWritesRawBytes) {
    auto map = Build(std::string(kPort) + R"(
        <Register Name="Lut"><Address>0x200</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></Register>)");
    MemoryPort port;
    map->Connect(&port);
    CRegisterPtr lut = map->GetNode("Lut");
    const uint8_t bytes[4] = {1, 2, 3, 4};
    lut->Set(bytes, 4);
    uint8_t back[4] = {};
    lut->Get(back, 4);
    EXPECT_EQ(std::memcmp(bytes, back, 4), 0);
    EXPECT_EQ(lut->ToString(), "0x01020304");
    lut->FromString("0xA0B0C0D0");
    EXPECT_EQ(port.Peek(0x200), 0xD0C0B0A0u);
    EXPECT_THROW(lut->Set(bytes, 5), GenICam::OutOfRangeException);
    EXPECT_EQ(lut->GetNode()->GetPrincipalInterfaceType(), intfIRegister);
}

TEST(CategoryNode, ListsItsFeaturesAndMarksTheTreeBelowRoot) {
    auto map = Build(R"(
        <Category Name="Root"><pFeature>Acquisition</pFeature></Category>
        <Category Name="Acquisition"><pFeature>Width</pFeature><pFeature>Start</pFeature></Category>
        <Integer Name="Width"><Value>1</Value></Integer>
        <Integer Name="Hidden"><Value>1</Value></Integer>
        <Command Name="Start"><Value>0</Value><CommandValue>1</CommandValue></Command>)");
    CCategoryPtr category = map->GetNode("Acquisition");
    FeatureList_t features;
    category->GetFeatures(features);
    ASSERT_EQ(features.size(), 2u);
    EXPECT_EQ(features[0]->GetNode()->GetName(), "Width");
    EXPECT_TRUE(map->GetNode("Width")->IsFeature());
    EXPECT_FALSE(map->GetNode("Hidden")->IsFeature());
    EXPECT_EQ(category->GetAccessMode(), RO);
}

TEST(NodeProperties, DisplayTextVisibilityAndAliases) {
    auto map = Build(R"(<Integer Name="Gain" NameSpace="Standard"><ToolTip>Tip</ToolTip><Description>Long</Description>
          <DisplayName>Analog Gain</DisplayName><Visibility>Expert</Visibility><Streamable>Yes</Streamable>
          <pAlias>GainAlias</pAlias><EventID>9001</EventID><Value>1</Value></Integer>
        <Float Name="GainAlias"><Value>1.0</Value></Float>)");
    INode* gain = map->GetNode("Gain");
    EXPECT_EQ(gain->GetToolTip(), "Tip");
    EXPECT_EQ(gain->GetDescription(), "Long");
    EXPECT_EQ(gain->GetDisplayName(), "Analog Gain");
    EXPECT_EQ(gain->GetVisibility(), Expert);
    EXPECT_TRUE(gain->IsStreamable());
    EXPECT_EQ(gain->GetNameSpace(), Standard);
    EXPECT_EQ(gain->GetName(true), "Std::Gain");
    EXPECT_EQ(gain->GetAlias(), map->GetNode("GainAlias"));
    EXPECT_EQ(gain->GetEventID(), "9001");
    EXPECT_EQ(gain->GetNodeMap(), map.get());
    EXPECT_EQ(map->GetNode("GainAlias")->GetDisplayName(), "GainAlias");
}

} // namespace
