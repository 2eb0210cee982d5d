#include "ProducerFixture.h"

#include <thread>

namespace {

TEST(ProducerLifecycle, InitialisesOnceAndRefusesUseBeforehand) {
    TL_HANDLE system = nullptr;
    EXPECT_EQ(TLOpen(&system), GC_ERR_NOT_INITIALIZED);
    EXPECT_NE(LastErrorText().find("GCInitLib"), std::string::npos) << LastErrorText();
    EXPECT_EQ(GCCloseLib(), GC_ERR_NOT_INITIALIZED);

    ASSERT_EQ(GCInitLib(), GC_ERR_SUCCESS);
    EXPECT_EQ(GCInitLib(), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(LastErrorText(), "GCInitLib: the library is already initialised");
    ASSERT_EQ(TLOpen(&system), GC_ERR_SUCCESS);
    TL_HANDLE second = nullptr;
    EXPECT_EQ(TLOpen(&second), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS);

    // Closing the library closes every module: old handles are refused afterwards.
    ASSERT_EQ(GCInitLib(), GC_ERR_SUCCESS);
    uint32_t count = 0;
    EXPECT_EQ(TLGetNumInterfaces(system, &count), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS);
}

TEST(ProducerLifecycle, LastErrorFollowsTheSizeConventionsPerThread) {
    ASSERT_EQ(GCInitLib(), GC_ERR_SUCCESS);
    EXPECT_EQ(GCInitLib(), GC_ERR_RESOURCE_IN_USE);
    GC_ERROR code = 0;
    size_t size = 0;
    ASSERT_EQ(GCGetLastError(&code, nullptr, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(code, GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(size, std::string("GCInitLib: the library is already initialised").size() + 1);
    char small[4];
    size_t smallSize = sizeof small;
    EXPECT_EQ(GCGetLastError(&code, small, &smallSize), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(smallSize, size);
    EXPECT_EQ(GCGetLastError(nullptr, small, &smallSize), GC_ERR_INVALID_PARAMETER);

    std::string otherThreadText;
    std::thread([&] { otherThreadText = LastErrorText(); }).join();
    EXPECT_EQ(otherThreadText, "No error");
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS);
}

TEST(ProducerLifecycle, LibraryInformationIsAvailableWithoutASystem) {
    ASSERT_EQ(GCInitLib(), GC_ERR_SUCCESS);
    EXPECT_EQ(StringAnswer([](char* text, size_t* size) {
                  INFO_DATATYPE type = 0;
                  return GCGetInfo(TL_INFO_TLTYPE, &type, text, size);
              }),
              "GEV");
    uint32_t major = 0;
    size_t size = sizeof major;
    INFO_DATATYPE type = 0;
    EXPECT_EQ(GCGetInfo(TL_INFO_GENTL_VER_MAJOR, &type, &major, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_UINT32);
    EXPECT_EQ(major, 1u);
    EXPECT_EQ(GCGetInfo(TL_INFO_CMD(999), &type, &major, &size), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS);
}

} // namespace
