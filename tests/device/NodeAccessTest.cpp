// Feature access by name over a node map built from a small description: the values of each
// interface, the order of the checks and the exact texts of their failures.
#include <Vireo/NodeAccess.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <GenApi/GenApi.h>

namespace Vireo {
namespace {

using GenICam::gcstring;

// Register space of the test device; starts zeroed.
class MemoryPort : public GenApi::IPort {
public:
    GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        std::memcpy(buffer, m_bytes.data() + address, static_cast<size_t>(length));
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        std::memcpy(m_bytes.data() + address, buffer, static_cast<size_t>(length));
    }
    uint8_t At(size_t address) const { return m_bytes[address]; }

private:
    std::vector<uint8_t> m_bytes = std::vector<uint8_t>(0x400);
};

const char* const kDescription = R"(<?xml version="1.0"?>
<RegisterDescription ModelName="Test" VendorName="Vireo" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>Width</pFeature></Category>
  <Integer Name="Width"><Value>640</Value><Min>16</Min><Max>1024</Max><Inc>16</Inc></Integer>
  <Float Name="Exposure"><Value>100.5</Value><Min>10</Min><Max>1000</Max></Float>
  <Float Name="Gain"><Value>2</Value><Min>0</Min><Max>24</Max><Inc>0.5</Inc></Float>
  <Boolean Name="ReverseX"><Value>0</Value></Boolean>
  <String Name="DeviceUserID"><Value>left</Value></String>
  <Enumeration Name="PixelFormat"><Value>0</Value>
    <EnumEntry Name="Mono8"><Value>0</Value></EnumEntry>
    <EnumEntry Name="Mono12"><Value>1</Value></EnumEntry>
    <EnumEntry Name="RGB8"><Value>2</Value><pIsAvailable>Zero</pIsAvailable></EnumEntry>
  </Enumeration>
  <Command Name="AcquisitionStart"><pValue>StartReg</pValue><CommandValue>1</CommandValue></Command>
  <Command Name="AcquisitionAbort"><pValue>StartReg</pValue><CommandValue>2</CommandValue><pIsAvailable>Zero</pIsAvailable></Command>
  <IntReg Name="StartReg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
  <Register Name="Lut"><Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></Register>
  <Register Name="LutReadOnly"><Address>0x200</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort></Register>
  <Register Name="LutWriteOnly"><Address>0x300</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort></Register>
  <Integer Name="Zero"><Value>0</Value></Integer>
  <Integer Name="NotImplemented"><Value>1</Value><pIsImplemented>Zero</pIsImplemented><pIsAvailable>Zero</pIsAvailable></Integer>
  <Float Name="NotAvailable"><Value>1</Value><pIsAvailable>Zero</pIsAvailable></Float>
  <Integer Name="ReadOnly"><Value>5</Value><ImposedAccessMode>RO</ImposedAccessMode></Integer>
  <IntReg Name="WriteOnly"><Address>0x10</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort></IntReg>
  <Port Name="Device"/>
</RegisterDescription>
)";

struct NodeMapDeleter {
    void operator()(GenApi::INodeMap* map) const { dynamic_cast<GenApi::IDestroy*>(map)->Destroy(); }
};

class NodeAccess : public ::testing::Test {
protected:
    void SetUp() override {
        GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, kDescription, std::strlen(kDescription));
        m_map.reset(factory.CreateNodeMap());
        ASSERT_TRUE(m_map->Connect(&m_port));
    }

    GenApi::INodeMap* Map() const { return m_map.get(); }

    // The what() of the exception of class E the call throws; another class or none is a
    // failure of the test.
    template <class E, class Call>
    static std::string Failure(Call&& call) {
        try {
            call();
        } catch (const E& error) {
            return error.what();
        } catch (const GenICam::GenericException& other) {
            ADD_FAILURE() << "other exception class: " << other.what();
            return {};
        }
        ADD_FAILURE() << "nothing thrown";
        return {};
    }

    MemoryPort m_port;
    std::unique_ptr<GenApi::INodeMap, NodeMapDeleter> m_map;
};

using InvalidArgument = GenICam::InvalidArgumentException;
using Runtime = GenICam::RuntimeException;
using LogicalError = GenICam::LogicalErrorException;

TEST_F(NodeAccess, ReadsAndWritesEachTypeThroughItsInterface) {
    EXPECT_EQ(GetNodeValue<int64_t>(Map(), "Width"), 640);
    SetNodeValue<int64_t>(Map(), "Width", 320);
    EXPECT_EQ(GetNodeValue<int64_t>(Map(), "Width"), 320);

    EXPECT_DOUBLE_EQ(GetNodeValue<double>(Map(), "Exposure"), 100.5);
    SetNodeValue<double>(Map(), "Exposure", 250.25);
    EXPECT_DOUBLE_EQ(GetNodeValue<double>(Map(), "Exposure"), 250.25);

    EXPECT_FALSE(GetNodeValue<bool>(Map(), "ReverseX"));
    SetNodeValue<bool>(Map(), "ReverseX", true);
    EXPECT_TRUE(GetNodeValue<bool>(Map(), "ReverseX"));

    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "DeviceUserID"), "left");
    SetNodeValue<gcstring>(Map(), "DeviceUserID", "right");
    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "DeviceUserID"), "right");

    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "PixelFormat"), "Mono8");
    SetNodeValue<gcstring>(Map(), "PixelFormat", "Mono12");
    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "PixelFormat"), "Mono12");
    EXPECT_EQ(GenApi::CEnumerationPtr(Map()->GetNode("PixelFormat"))->GetIntValue(), 1);
}

TEST_F(NodeAccess, ChecksTheMapAndTheNameFirst) {
    EXPECT_EQ(Failure<InvalidArgument>([] { GetNodeValue<int64_t>(nullptr, "Width"); }),
              "InvalidArgumentException: Node map is null (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue<gcstring>(Map(), "Bogus"); }),
              "InvalidArgumentException: Node name invalid: Bogus (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<InvalidArgument>([&] { ExecuteNode(nullptr, "AcquisitionStart"); }),
              "InvalidArgumentException: Node map is null (NodeAccess, ExecuteNode)");
}

TEST_F(NodeAccess, AccessChecksComeBeforeTheTypeAndInTheirOrder) {
    // Neither implemented nor available: the first of the two is reported, before the wrong
    // type would be.
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeValue<double>(Map(), "NotImplemented"); }),
              "RuntimeException: Node NotImplemented not implemented (NodeAccess, GetNodeValue)");
    // Not available means neither readable nor writable; availability is reported.
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeValue<bool>(Map(), "NotAvailable"); }),
              "RuntimeException: Node NotAvailable not available (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<Runtime>([&] { SetNodeValue<double>(Map(), "NotAvailable", 2.0); }),
              "RuntimeException: Node NotAvailable not available (NodeAccess, SetNodeValue)");
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeValue<double>(Map(), "WriteOnly"); }),
              "RuntimeException: Node WriteOnly not readable (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<Runtime>([&] { SetNodeValue<gcstring>(Map(), "ReadOnly", "5"); }),
              "RuntimeException: Node ReadOnly not writable (NodeAccess, SetNodeValue)");
    // A command is write-only: any read fails on access before its type is looked at.
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeValue<int64_t>(Map(), "AcquisitionStart"); }),
              "RuntimeException: Node AcquisitionStart not readable (NodeAccess, GetNodeValue)");
    // Read-only and write-only nodes are fine in their own direction.
    EXPECT_EQ(GetNodeValue<int64_t>(Map(), "ReadOnly"), 5);
    SetNodeValue<int64_t>(Map(), "WriteOnly", 0x1234);
    EXPECT_EQ(m_port.At(0x10), 0x34);
}

TEST_F(NodeAccess, NamesTheTypeAnInterfaceMustBeAccessedWith) {
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue<double>(Map(), "Width"); }),
              "InvalidArgumentException: Node Width of type GenApi::IInteger must return type int64_t (NodeAccess, "
              "GetNodeValue)");
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue<gcstring>(Map(), "ReverseX"); }),
              "InvalidArgumentException: Node ReverseX of type GenApi::IBoolean must return type bool (NodeAccess, "
              "GetNodeValue)");
    EXPECT_EQ(Failure<InvalidArgument>([&] { SetNodeValue<bool>(Map(), "PixelFormat", true); }),
              "InvalidArgumentException: Node PixelFormat of type GenApi::IEnumeration must set type "
              "GenICam::gcstring (NodeAccess, SetNodeValue)");
    // An enumeration is not read by its integer value either.
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue<int64_t>(Map(), "PixelFormat"); }),
              "InvalidArgumentException: Node PixelFormat of type GenApi::IEnumeration must return type "
              "GenICam::gcstring (NodeAccess, GetNodeValue)");
}

TEST_F(NodeAccess, RefusesInterfacesWithoutATypedValue) {
    EXPECT_EQ(Failure<LogicalError>([&] { GetNodeValue<gcstring>(Map(), "Root"); }),
              "LogicalErrorException: Node Root unsupported node type (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<LogicalError>([&] { SetNodeValue<int64_t>(Map(), "AcquisitionStart", 1); }),
              "LogicalErrorException: Node AcquisitionStart unsupported node type (NodeAccess, SetNodeValue)");
    EXPECT_EQ(m_port.At(0), 0);
}

TEST_F(NodeAccess, FailedWritesLeaveTheNodeMapAsItWas) {
    Failure<InvalidArgument>([&] { SetNodeValue<double>(Map(), "Width", 32.0); });
    Failure<LogicalError>([&] { SetNodeValue<gcstring>(Map(), "PixelFormat", "Mono16"); });
    EXPECT_EQ(GetNodeValue<int64_t>(Map(), "Width"), 640);
    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "PixelFormat"), "Mono8");
    // The engine's own refusals pass through as they are.
    EXPECT_THROW(SetNodeValue<int64_t>(Map(), "Width", 2048), GenICam::OutOfRangeException);
    EXPECT_THROW(SetNodeValue<gcstring>(Map(), "PixelFormat", "RGB8"), GenICam::AccessException);
    EXPECT_EQ(GetNodeValue<int64_t>(Map(), "Width"), 640);
    EXPECT_EQ(GetNodeValue<gcstring>(Map(), "PixelFormat"), "Mono8");
}

TEST_F(NodeAccess, ListsEveryEntryOfTheEnumerationForAnUnknownOne) {
    const std::string listing =
        "LogicalErrorException: 'Mono16' is invalid EnumEntry.  valid EnumEntries are:\nMono8\nMono12\nRGB8\n "
        "(NodeAccess, _throwLogicExceptionIfNotValidEnumEntry)";
    EXPECT_EQ(Failure<LogicalError>([&] { SetNodeValue<gcstring>(Map(), "PixelFormat", "Mono16"); }), listing);
    GenApi::CEnumerationPtr pixelFormat = Map()->GetNode("PixelFormat");
    EXPECT_EQ(Failure<LogicalError>([&] { _throwLogicExceptionIfNotValidEnumEntry(pixelFormat, "Mono16"); }),
              listing);
    // Names are matched exactly, unavailable entries included.
    EXPECT_EQ(Failure<LogicalError>([&] { _throwLogicExceptionIfNotValidEnumEntry(pixelFormat, "mono8"); })
                  .find("'mono8' is invalid EnumEntry."),
              std::string("LogicalErrorException: ").size());
    EXPECT_NO_THROW(_throwLogicExceptionIfNotValidEnumEntry(pixelFormat, "RGB8"));
    EXPECT_EQ(Failure<InvalidArgument>([] { _throwLogicExceptionIfNotValidEnumEntry(nullptr, "Mono8"); }),
              "InvalidArgumentException: Enumeration is null (NodeAccess, _throwLogicExceptionIfNotValidEnumEntry)");
}

TEST_F(NodeAccess, RangeOfIntegersAndFloats) {
    EXPECT_EQ(GetNodeMin<int64_t>(Map(), "Width"), 16);
    EXPECT_EQ(GetNodeMax<int64_t>(Map(), "Width"), 1024);
    EXPECT_EQ(GetNodeInc<int64_t>(Map(), "Width"), 16);
    EXPECT_DOUBLE_EQ(GetNodeMin<double>(Map(), "Exposure"), 10.0);
    EXPECT_DOUBLE_EQ(GetNodeMax<double>(Map(), "Exposure"), 1000.0);
    EXPECT_DOUBLE_EQ(GetNodeInc<double>(Map(), "Gain"), 0.5);
    EXPECT_EQ(Failure<LogicalError>([&] { GetNodeInc<double>(Map(), "Exposure"); }),
              "LogicalErrorException: Node Exposure unsupported increment (NodeAccess, GetNodeInc)");

    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeMin<double>(Map(), "Width"); }),
              "InvalidArgumentException: Node Width of type GenApi::IInteger must return type int64_t (NodeAccess, "
              "GetNodeMin)");
    EXPECT_EQ(Failure<LogicalError>([&] { GetNodeMax<int64_t>(Map(), "PixelFormat"); }),
              "LogicalErrorException: Node PixelFormat unsupported node type (NodeAccess, GetNodeMax)");
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeMin<double>(Map(), "NotAvailable"); }),
              "RuntimeException: Node NotAvailable not available (NodeAccess, GetNodeMin)");
    EXPECT_EQ(Failure<Runtime>([&] { GetNodeInc<int64_t>(Map(), "WriteOnly"); }),
              "RuntimeException: Node WriteOnly not readable (NodeAccess, GetNodeInc)");
}

TEST_F(NodeAccess, ExecutesCommandsOnly) {
    ExecuteNode(Map(), "AcquisitionStart");
    EXPECT_EQ(m_port.At(0), 1);
    EXPECT_EQ(Failure<LogicalError>([&] { ExecuteNode(Map(), "Width"); }),
              "LogicalErrorException: Node Width unsupported node type (NodeAccess, ExecuteNode)");
    EXPECT_EQ(Failure<Runtime>([&] { ExecuteNode(Map(), "AcquisitionAbort"); }),
              "RuntimeException: Node AcquisitionAbort not available (NodeAccess, ExecuteNode)");
    EXPECT_EQ(m_port.At(0), 1);
}

TEST_F(NodeAccess, RegisterBytesRoundTrip) {
    const uint8_t written[4] = {0xde, 0xad, 0xbe, 0xef};
    int64_t length = 4;
    SetNodeValue(Map(), "Lut", written, length);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(m_port.At(0x103), 0xef);

    uint8_t read[8] = {};
    length = 8;  // more than the register holds: the whole register, and its length back
    GetNodeValue(Map(), "Lut", read, length);
    EXPECT_EQ(length, 4);
    EXPECT_EQ(std::memcmp(read, written, 4), 0);
    EXPECT_EQ(read[4], 0);

    uint8_t head[2] = {};
    length = 2;
    GetNodeValue(Map(), "Lut", head, length);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(head[0], 0xde);
    EXPECT_EQ(head[1], 0xad);

    // A shorter write replaces the register's first bytes only.
    const uint8_t first = 0x11;
    length = 1;
    SetNodeValue(Map(), "Lut", &first, length);
    EXPECT_EQ(m_port.At(0x100), 0x11);
    EXPECT_EQ(m_port.At(0x101), 0xad);
}

TEST_F(NodeAccess, RegisterOverloadsCheckLengthThenTypeThenAccess) {
    uint8_t buffer[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    int64_t length = 0;
    // The length is looked at before the node's type.
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue(Map(), "Width", buffer, length); }),
              "InvalidArgumentException: Buffer length cannot be zero.  (NodeAccess, GetNodeValue)");
    length = -1;
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue(Map(), "Lut", buffer, length); }),
              "InvalidArgumentException: Buffer length cannot be negative.  (NodeAccess, GetNodeValue)");
    length = 4;
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue(Map(), "Lut", nullptr, length); }),
              "InvalidArgumentException: Buffer is null.  (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<InvalidArgument>([&] { GetNodeValue(nullptr, "Lut", buffer, length); }),
              "InvalidArgumentException: Node map is null (NodeAccess, GetNodeValue)");

    // An integer register offers the bytes too, but it is an integer; and the type is looked
    // at before the access (the node is write-only).
    EXPECT_EQ(Failure<LogicalError>([&] { GetNodeValue(Map(), "WriteOnly", buffer, length); }),
              "LogicalErrorException: Unsupported node type: this overload is for GenApi::intfIRegister "
              "(NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<LogicalError>([&] { SetNodeValue(Map(), "Width", buffer, length); }),
              "LogicalErrorException: Unsupported node type this overload is for GenApi::intfIRegister "
              "(NodeAccess, SetNodeValue)");

    EXPECT_EQ(Failure<Runtime>([&] { GetNodeValue(Map(), "LutWriteOnly", buffer, length); }),
              "RuntimeException: Node LutWriteOnly not readable (NodeAccess, GetNodeValue)");
    EXPECT_EQ(Failure<Runtime>([&] { SetNodeValue(Map(), "LutReadOnly", buffer, length); }),
              "RuntimeException: Node LutReadOnly not writable (NodeAccess, SetNodeValue)");

    length = 5;
    EXPECT_EQ(Failure<InvalidArgument>([&] { SetNodeValue(Map(), "Lut", buffer, length); }),
              "InvalidArgumentException: Buffer length is greater than the length of the destination node, Lut "
              "length = 4 (NodeAccess, SetNodeValue)");
    EXPECT_EQ(length, 5);
    EXPECT_EQ(m_port.At(0x100), 0);  // nothing written
}

TEST(NodeAccessNames, InterfaceTypesRoundTripAndUnknownsStayUnknown) {
    const char* const names[] = {"intfIValue",    "intfIBase",     "intfIInteger",  "intfIBoolean",
                                 "intfICommand",  "intfIFloat",    "intfIString",   "intfIRegister",
                                 "intfICategory", "intfIEnumeration", "intfIEnumEntry", "intfIPort"};
    for (int value = GenApi::intfIValue; value <= GenApi::intfIPort; ++value) {
        const auto type = static_cast<GenApi::EInterfaceType>(value);
        EXPECT_EQ(EInterfaceTypeClass::ToString(type), names[value]);
        EXPECT_EQ(EInterfaceTypeClass::FromString(names[value]), type);
    }
    EXPECT_EQ(EInterfaceTypeClass::ToString(intfIUnknown), "intfIUnknown");
    EXPECT_EQ(EInterfaceTypeClass::FromString("intfIUnknown"), intfIUnknown);
    EXPECT_EQ(EInterfaceTypeClass::FromString("IInteger"), intfIUnknown);
    EXPECT_EQ(EInterfaceTypeClass::FromString(""), intfIUnknown);
}

TEST(NodeAccessNames, IncrementModesRoundTripAndUnknownsStayUnknown) {
    EXPECT_EQ(EIncModeClass::ToString(GenApi::noIncrement), "noIncrement");
    EXPECT_EQ(EIncModeClass::ToString(GenApi::fixedIncrement), "fixedIncrement");
    EXPECT_EQ(EIncModeClass::ToString(GenApi::listIncrement), "listIncrement");
    for (GenApi::EIncMode mode : {GenApi::noIncrement, GenApi::fixedIncrement, GenApi::listIncrement})
        EXPECT_EQ(EIncModeClass::FromString(EIncModeClass::ToString(mode)), mode);
    EXPECT_EQ(EIncModeClass::ToString(unknownIncrement), "unknownIncrement");
    EXPECT_EQ(EIncModeClass::FromString("unknownIncrement"), unknownIncrement);
    EXPECT_EQ(EIncModeClass::FromString("FixedIncrement"), unknownIncrement);
}

} // namespace
} // namespace Vireo
