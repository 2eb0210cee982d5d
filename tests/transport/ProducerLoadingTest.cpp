#include "transport/Errors.h"
#include "transport/Producer.h"

#include <gtest/gtest.h>

#include <string>

namespace Vireo {
namespace {

TEST(ProducerLoading, AMissingLibraryAnswersNotAvailableAndExplainsWhy) {
    const ProducerFunctions producer = LoadProducer("/nonexistent/libgentl.so.1");
    EXPECT_EQ(producer.GCInitLib(), GenTL::GC_ERR_NOT_AVAILABLE);
    GenTL::TL_HANDLE system = nullptr;
    EXPECT_EQ(producer.TLOpen(&system), GenTL::GC_ERR_NOT_AVAILABLE);
    EXPECT_EQ(producer.DSSetupResendRetryParams(nullptr, 1, 2.0, "s", "f", 3, 4), GenTL::GC_ERR_NOT_AVAILABLE);

    char text[2048];
    size_t size = sizeof text;
    GenTL::GC_ERROR code = 0;
    ASSERT_EQ(producer.GCGetLastError(&code, text, &size), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(code, GenTL::GC_ERR_NOT_AVAILABLE);
    const std::string explanation = text;
    EXPECT_EQ(explanation.rfind("Unable to load the GenTL producer /nonexistent/libgentl.so.1: ", 0), 0u) << explanation;
    EXPECT_EQ(size, explanation.size() + 1);

    size_t tooSmall = 4;
    EXPECT_EQ(producer.GCGetLastError(&code, text, &tooSmall), GenTL::GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(tooSmall, explanation.size() + 1);
}

// A library that exports none of the GenTL functions stands for a producer without the
// extensions: each missing function answers "not implemented" instead of crashing.
TEST(ProducerLoading, FunctionsALibraryLacksAnswerNotImplemented) {
    const ProducerFunctions producer = LoadProducer("libc.so.6");
    EXPECT_EQ(producer.GCInitLib(), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.IFForceIp(nullptr, 0, 0, 0, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DevSendActionCommand(nullptr, 1, 2, 3, 4), GenTL::GC_ERR_NOT_IMPLEMENTED);
}

TEST(ProducerLoading, ALastErrorFetchFromAProducerWithoutItGivesTheFallbackText) {
    static ProducerFunctions producer = LoadProducer("libc.so.6");
    const LastErrorSource previous =
        SetLastErrorSource([](GenTL::GC_ERROR* code, char* text, size_t* size) { return producer.GCGetLastError(code, text, size); });
    EXPECT_EQ(FetchLastError(), "Unable to get error from GenTL layer.");
    SetLastErrorSource(previous);
}

} // namespace
} // namespace Vireo
