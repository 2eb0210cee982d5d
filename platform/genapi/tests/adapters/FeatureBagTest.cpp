// Storing a node map's streamable features as text and loading them back, selectors included.
#include <sstream>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::MemoryPort;

const char* const kFeatures = R"(<Port Name="Device"/>
    <Category Name="Root"><pFeature>Width</pFeature><pFeature>GainSelector</pFeature><pFeature>Gain</pFeature>
      <pFeature>Name</pFeature><pFeature>Mode</pFeature><pFeature>Counter</pFeature><pFeature>Reset</pFeature></Category>
    <Integer Name="Width"><Value>640</Value><Min>16</Min><Max>4096</Max><Streamable>Yes</Streamable></Integer>
    <Enumeration Name="GainSelector"><Streamable>Yes</Streamable><pSelected>Gain</pSelected>
      <EnumEntry Name="Red"><Value>0</Value></EnumEntry><EnumEntry Name="Blue"><Value>1</Value></EnumEntry>
      <Value>0</Value></Enumeration>
    <Float Name="Gain"><pValue>GainReg</pValue><Streamable>Yes</Streamable></Float>
    <FloatReg Name="GainReg"><Address>0x100</Address><pIndex Offset="8">GainSelector</pIndex><Length>8</Length>
      <AccessMode>RW</AccessMode><pPort>Device</pPort></FloatReg>
    <String Name="Name"><Value>left camera</Value><Streamable>Yes</Streamable></String>
    <Enumeration Name="Mode"><Streamable>Yes</Streamable><EnumEntry Name="Off"><Value>0</Value></EnumEntry>
      <EnumEntry Name="On"><Value>1</Value></EnumEntry><Value>1</Value></Enumeration>
    <Integer Name="Counter"><Value>5</Value></Integer>
    <Command Name="Reset"><Value>0</Value><CommandValue>1</CommandValue><Streamable>Yes</Streamable></Command>)";

TEST(FeatureBag, RoundTripsStreamableFeaturesThroughText) {
    auto source = Build(kFeatures);
    MemoryPort sourcePort;
    source->Connect(&sourcePort);
    CIntegerPtr(source->GetNode("Width"))->SetValue(800);
    CEnumerationPtr selector = source->GetNode("GainSelector");
    CFloatPtr gain = source->GetNode("Gain");
    *selector = "Red";
    gain->SetValue(1.5);
    *selector = "Blue";
    gain->SetValue(2.25);
    CStringPtr(source->GetNode("Name"))->SetValue("right camera");
    CEnumerationPtr(source->GetNode("Mode"))->FromString("Off");

    CFeatureBag bag;
    bag.SetBagName("Settings");
    // Width, two selector values each with its gain, the selector restored, Name and Mode.
    EXPECT_EQ(bag.StoreFromNodeMap(source.get()), 8);
    EXPECT_EQ(selector->ToString(), "Blue"); // the sweep leaves the selector as it found it
    const std::string text = bag.ToString().c_str();
    EXPECT_NE(text.find("Width\t800\n"), std::string::npos);
    EXPECT_NE(text.find("Name\tright camera\n"), std::string::npos);
    EXPECT_EQ(text.find("Counter"), std::string::npos); // not streamable
    EXPECT_EQ(text.find("Reset"), std::string::npos);   // commands are not stored

    CFeatureBag parsed;
    std::istringstream(text) >> parsed;
    EXPECT_EQ(parsed.GetBagName(), "Settings");
    auto target = Build(kFeatures);
    MemoryPort targetPort;
    target->Connect(&targetPort);
    GenICam::gcstring_vector errors;
    EXPECT_TRUE(parsed.LoadFromBag(target.get(), true, &errors));
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(CIntegerPtr(target->GetNode("Width"))->GetValue(), 800);
    EXPECT_EQ(CStringPtr(target->GetNode("Name"))->GetValue(), "right camera");
    EXPECT_EQ(CEnumerationPtr(target->GetNode("Mode"))->ToString(), "Off");
    CEnumerationPtr targetSelector = target->GetNode("GainSelector");
    EXPECT_EQ(targetSelector->ToString(), "Blue");
    EXPECT_DOUBLE_EQ(CFloatPtr(target->GetNode("Gain"))->GetValue(), 2.25);
    *targetSelector = "Red";
    EXPECT_DOUBLE_EQ(CFloatPtr(target->GetNode("Gain"))->GetValue(), 1.5);
}

TEST(FeatureBag, ReportsEntriesThatCannotBeLoaded) {
    CFeatureBag bag;
    std::istringstream("# comment\nWidth\t99999\nMissing\t1\nCounter 7\n\n") >> bag;
    auto map = Build(kFeatures);
    GenICam::gcstring_vector errors;
    EXPECT_FALSE(bag.LoadFromBag(map.get(), true, &errors));
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_NE(std::string(errors[0].c_str()).find("maximum 4096"), std::string::npos);
    EXPECT_NE(std::string(errors[1].c_str()).find("'Missing' does not exist"), std::string::npos);
    EXPECT_EQ(CIntegerPtr(map->GetNode("Counter"))->GetValue(), 7); // space-separated lines load too
    EXPECT_THROW(bag.LoadFromBag(nullptr), GenICam::InvalidArgumentException);
    CFeatureBag limited;
    EXPECT_EQ(limited.StoreFromNodeMap(map.get(), 2), 2);
}

} // namespace
