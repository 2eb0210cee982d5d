#include "transport/InterfaceInfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "transport/Errors.h"

namespace Vireo {
namespace {

// An interface whose device and interface information is scripted.
class ScriptedInterface : public TLInterface {
public:
    GenTL::GC_ERROR GetDeviceInfo(const char* id, int32_t cmd, int32_t* type, void* buffer, size_t* size) override {
        lastDeviceId = id;
        lastCommand = cmd;
        offeredSize = *size;
        *type = answerType;
        if (result == GenTL::GC_ERR_SUCCESS) std::memcpy(buffer, answer.data(), std::min(*size, answer.size()));
        return result;
    }
    GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) override {
        lastCommand = cmd;
        offeredSize = *size;
        *type = answerType;
        if (result == GenTL::GC_ERR_SUCCESS) std::memcpy(buffer, answer.data(), std::min(*size, answer.size()));
        return result;
    }

    template <class T>
    void Answer(T value, int32_t type) {
        const auto* bytes = reinterpret_cast<const char*>(&value);
        answer.assign(bytes, bytes + sizeof value);
        answerType = type;
    }
    void AnswerText(const std::string& text) {
        answer.assign(text.begin(), text.end());
        answerType = GenTL::INFO_DATATYPE_STRING;
    }

    std::vector<char> answer;
    int32_t answerType = GenTL::INFO_DATATYPE_UNKNOWN;
    GenTL::GC_ERROR result = GenTL::GC_ERR_SUCCESS;
    std::string lastDeviceId;
    int32_t lastCommand = -1;
    size_t offeredSize = 0;
};

GenTL::GC_ERROR NoLastError(GenTL::GC_ERROR*, char* text, size_t*) {
    std::strcpy(text, "cable pulled");
    return GenTL::GC_ERR_SUCCESS;
}

class InterfaceInfo : public ::testing::Test {
protected:
    void SetUp() override { previous_ = SetLastErrorSource(&NoLastError); }
    void TearDown() override { SetLastErrorSource(previous_); }
    ScriptedInterface iface;

private:
    LastErrorSource previous_ = nullptr;
};

TEST_F(InterfaceInfo, NumericQueriesReadFixedSizes) {
    iface.Answer(uint32_t(0xC0A80102), GenTL::INFO_DATATYPE_UINT32);
    EXPECT_EQ(GetInfo<uint32_t>(&iface, "dev0", GenTL::DEVICE_INFO_IP_ADDRESS), 0xC0A80102u);
    EXPECT_EQ(iface.lastDeviceId, "dev0");
    EXPECT_EQ(iface.lastCommand, GenTL::DEVICE_INFO_IP_ADDRESS);
    EXPECT_EQ(iface.offeredSize, 4u);

    iface.Answer(int64_t(-5), GenTL::INFO_DATATYPE_INT64);
    EXPECT_EQ(GetInfo<int64_t>(&iface, "dev0", 1011), -5);
    EXPECT_EQ(iface.offeredSize, 8u);

    iface.Answer(uint8_t(1), GenTL::INFO_DATATYPE_BOOL8);
    EXPECT_TRUE(GetInfo<bool>(&iface, "dev0", GenTL::DEVICE_INFO_DHCP_ENABLED));
    EXPECT_EQ(iface.offeredSize, 1u);

    iface.Answer(uint64_t(0x0030531A2B3C), GenTL::INFO_DATATYPE_UINT64);
    EXPECT_EQ(GetInfo<uint64_t>(&iface, GenTL::INTERFACE_INFO_MAC_ADDRESS), 0x0030531A2B3Cu);
    EXPECT_EQ(GetInfo<int64_t>(&iface, GenTL::INTERFACE_INFO_MAC_ADDRESS), 0x0030531A2B3C);
    EXPECT_EQ(iface.offeredSize, 8u);
}

TEST_F(InterfaceInfo, NumericFailuresSayBufferInformationWhateverTheyRead) {
    iface.result = GenTL::GC_ERR_INVALID_ID;
    try {
        GetInfo<uint32_t>(&iface, "gone", GenTL::DEVICE_INFO_IP_ADDRESS);
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException (GC_ERR_INVALID_ID): Unable to get buffer information "
                                   "(System, GetInfo; GenTL::IFGetDeviceInfo); cable pulled");
    }
    iface.result = GenTL::GC_ERR_NOT_AVAILABLE;
    try {
        GetInfo<uint64_t>(&iface, GenTL::INTERFACE_INFO_MAC_ADDRESS);
        FAIL();
    } catch (const GenICam::LogicalErrorException& error) {
        EXPECT_STREQ(error.what(), "LogicalErrorException (GC_ERR_NOT_AVAILABLE): Unable to get buffer information "
                                   "(System, GetInfo; GenTL::IFGetInfo); cable pulled");
    }
}

TEST_F(InterfaceInfo, StringQueryReadsUpTo255CharactersOfAString) {
    iface.AnswerText(std::string("Vireo VC-2448C") + '\0');
    EXPECT_EQ(GetInfoString(&iface, "dev1", GenTL::DEVICE_INFO_MODEL), "Vireo VC-2448C");
    EXPECT_EQ(iface.offeredSize, 256u);

    iface.AnswerText(std::string(300, 'x'));  // a producer that ignores the size it was given
    EXPECT_EQ(GetInfoString(&iface, "dev1", GenTL::DEVICE_INFO_MODEL), std::string(255, 'x'));
}

TEST_F(InterfaceInfo, StringQueryRefusesOtherTypesAndFailures) {
    iface.Answer(uint32_t(7), GenTL::INFO_DATATYPE_UINT32);
    try {
        GetInfoString(&iface, "dev1", GenTL::DEVICE_INFO_MODEL);
        FAIL();
    } catch (const GenICam::LogicalErrorException& error) {
        EXPECT_STREQ(error.what(),
                     "LogicalErrorException: Incorrect datatype returned (string expected) (System, GetInfoString)");
    }
    iface.result = GenTL::GC_ERR_TIMEOUT;
    try {
        GetInfoString(&iface, "dev1", GenTL::DEVICE_INFO_MODEL);
        FAIL();
    } catch (const GenICam::TimeoutException& error) {
        EXPECT_STREQ(error.what(), "TimeoutException (GC_ERR_TIMEOUT): Unable to get device information (System, "
                                   "GetInfoString; GenTL::IFGetDeviceInfo); cable pulled");
    }
}

} // namespace
} // namespace Vireo
