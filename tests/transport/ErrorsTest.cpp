#include "transport/Errors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <typeinfo>

#include <GenICam.h>

namespace Vireo {
namespace {

// A producer's last-error answer, scripted per test.
struct ScriptedLastError {
    static inline GenTL::GC_ERROR result = GenTL::GC_ERR_SUCCESS;
    static inline std::string text;
    static inline int calls = 0;
    static inline size_t offeredSize = 0;

    static GenTL::GC_ERROR Answer(GenTL::GC_ERROR* code, char* buffer, size_t* size) {
        ++calls;
        offeredSize = *size;
        *code = GenTL::GC_ERR_TIMEOUT;  // must be ignored: the failed call's code decides
        std::strncpy(buffer, text.c_str(), *size);
        return result;
    }
};

class ProducerErrorRule : public ::testing::Test {
protected:
    void SetUp() override {
        ScriptedLastError::result = GenTL::GC_ERR_SUCCESS;
        ScriptedLastError::text = "device unplugged";
        ScriptedLastError::calls = 0;
        previous_ = SetLastErrorSource(&ScriptedLastError::Answer);
    }
    void TearDown() override { SetLastErrorSource(previous_); }

    // Throws through the rule and returns what was caught.
    static std::pair<const std::type_info*, std::string> Thrown(GenTL::GC_ERROR code) {
        try {
            ThrowProducerError(code, "Unable to open system", "System", "OpenSystem", "TLOpen", "System.cpp", 7);
        } catch (const GenICam::GenericException& error) {
            EXPECT_STREQ(error.GetSourceFileName(), "System.cpp");
            EXPECT_EQ(error.GetSourceLine(), 7u);
            return {&typeid(error), error.GetDescription()};
        }
        return {nullptr, ""};
    }

private:
    LastErrorSource previous_ = nullptr;
};

struct Row {
    GenTL::GC_ERROR code;
    const char* errorName;
    const std::type_info& type;
    const char* exceptionName;
};

TEST_F(ProducerErrorRule, MapsEveryListedCodeToItsClassAndName) {
    const Row rows[] = {
        {GenTL::GC_ERR_BUSY, "GC_ERR_BUSY", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_OUT_OF_MEMORY, "GC_ERR_OUT_OF_MEMORY", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_RESOURCE_EXHAUSTED, "GC_ERR_RESOURCE_EXHAUSTED", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_INVALID_VALUE, "GC_ERR_INVALID_VALUE", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_PARSING_CHUNK_DATA, "GC_ERR_PARSING_CHUNK_DATA", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_INVALID_INDEX, "GC_ERR_INVALID_INDEX", typeid(GenICam::OutOfRangeException), "OutOfRangeException"},
        {GenTL::GC_ERR_BUFFER_TOO_SMALL, "GC_ERR_BUFFER_TOO_SMALL", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_INVALID_ADDRESS, "GC_ERR_INVALID_ADDRESS", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_NOT_AVAILABLE, "GC_ERR_NOT_AVAILABLE", typeid(GenICam::LogicalErrorException), "LogicalErrorException"},
        {GenTL::GC_ERR_INVALID_BUFFER, "GC_ERR_INVALID_BUFFER", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_ABORT, "GC_ERR_ABORT", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_TIMEOUT, "GC_ERR_TIMEOUT", typeid(GenICam::TimeoutException), "TimeoutException"},
        {GenTL::GC_ERR_IO, "GC_ERR_IO", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_INVALID_PARAMETER, "GC_ERR_INVALID_PARAMETER", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_NO_DATA, "GC_ERR_NO_DATA", typeid(GenICam::RuntimeException), "RuntimeException"},
        {GenTL::GC_ERR_INVALID_ID, "GC_ERR_INVALID_ID", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_INVALID_HANDLE, "GC_ERR_INVALID_HANDLE", typeid(GenICam::InvalidArgumentException), "InvalidArgumentException"},
        {GenTL::GC_ERR_ACCESS_DENIED, "GC_ERR_ACCESS_DENIED", typeid(GenICam::AccessException), "AccessException"},
        {GenTL::GC_ERR_RESOURCE_IN_USE, "GC_ERR_RESOURCE_IN_USE", typeid(GenICam::LogicalErrorException), "LogicalErrorException"},
        {GenTL::GC_ERR_NOT_IMPLEMENTED, "GC_ERR_NOT_IMPLEMENTED", typeid(GenICam::LogicalErrorException), "LogicalErrorException"},
        {GenTL::GC_ERR_NOT_INITIALIZED, "GC_ERR_NOT_INITIALIZED", typeid(GenICam::LogicalErrorException), "LogicalErrorException"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.errorName);
        const auto [type, message] = Thrown(row.code);
        ASSERT_NE(type, nullptr);
        EXPECT_EQ(*type, row.type);
        EXPECT_EQ(message, std::string(row.exceptionName) + " (" + row.errorName +
                               "): Unable to open system (System, OpenSystem; GenTL::TLOpen); device unplugged");
    }
}

TEST_F(ProducerErrorRule, UnlistedCodesBecomeGenericErrors) {
    const GenTL::GC_ERROR unlisted[] = {GenTL::GC_ERR_ERROR, GenTL::GC_ERR_AMBIGUOUS, GenTL::GC_ERR_CUSTOM_ID,
                                        -1024, -1000, 1, INT32_MIN, INT32_MAX};
    for (GenTL::GC_ERROR code : unlisted) {
        SCOPED_TRACE(code);
        const auto [type, message] = Thrown(code);
        ASSERT_NE(type, nullptr);
        EXPECT_EQ(*type, typeid(GenICam::GenericException));
        EXPECT_EQ(message, "GenericException (GC_ERR_ERROR): Unable to open system (System, OpenSystem; "
                           "GenTL::TLOpen); device unplugged");
    }
}

TEST_F(ProducerErrorRule, FetchesTheLastErrorOnceWithA2048ByteBuffer) {
    Thrown(GenTL::GC_ERR_IO);
    EXPECT_EQ(ScriptedLastError::calls, 1);
    EXPECT_EQ(ScriptedLastError::offeredSize, 2048u);
}

TEST_F(ProducerErrorRule, AFailingLastErrorFetchEndsTheMessageWithTheFallbackText) {
    ScriptedLastError::result = GenTL::GC_ERR_NOT_INITIALIZED;
    const auto [type, message] = Thrown(GenTL::GC_ERR_TIMEOUT);
    EXPECT_EQ(*type, typeid(GenICam::TimeoutException));
    EXPECT_EQ(message, "TimeoutException (GC_ERR_TIMEOUT): Unable to open system (System, OpenSystem; "
                       "GenTL::TLOpen); Unable to get error from GenTL layer.");
}

TEST_F(ProducerErrorRule, AProducerThatFillsTheWholeBufferIsCutAtItsEnd) {
    ScriptedLastError::text = std::string(4000, 'e');  // strncpy leaves no terminator
    EXPECT_EQ(FetchLastError(), std::string(2047, 'e'));
}

TEST_F(ProducerErrorRule, CallSitesMayChooseTheClassAndErrorName) {
    ScriptedLastError::text = "already open";
    try {
        ThrowProducerErrorAs(ExceptionKind::Runtime, "GenTL::GC_ERR_RESOURCE_IN_USE",
                             "Library already initialized (must initialize only once)", "Vireo", "OpenSystem",
                             "GCInitLib", "Library.cpp", 1);
        FAIL();
    } catch (const GenICam::RuntimeException& error) {
        EXPECT_STREQ(error.what(), "RuntimeException (GenTL::GC_ERR_RESOURCE_IN_USE): Library already initialized "
                                   "(must initialize only once) (Vireo, OpenSystem; GenTL::GCInitLib); already open");
    }
}

TEST(PlainErrorRule, NamesTheExceptionMessageUnitAndFunction) {
    try {
        VIREO_THROW_PLAIN(InvalidArgument, "System is null", "Vireo", "CloseSystem");
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException: System is null (Vireo, CloseSystem)");
        EXPECT_STREQ(error.GetSourceFileName(), "ErrorsTest.cpp");
    }
    EXPECT_EQ(ComposePlainMessage(ExceptionKind::BadAlloc, "Library failed to allocate resources", "Vireo", "OpenSystem"),
              "BadAllocException: Library failed to allocate resources (Vireo, OpenSystem)");
}

TEST(PlainErrorRule, ThrowsEveryKindAsItsOwnClass) {
    const std::pair<ExceptionKind, const std::type_info*> kinds[] = {
        {ExceptionKind::Generic, &typeid(GenICam::GenericException)},
        {ExceptionKind::Runtime, &typeid(GenICam::RuntimeException)},
        {ExceptionKind::InvalidArgument, &typeid(GenICam::InvalidArgumentException)},
        {ExceptionKind::OutOfRange, &typeid(GenICam::OutOfRangeException)},
        {ExceptionKind::LogicalError, &typeid(GenICam::LogicalErrorException)},
        {ExceptionKind::Access, &typeid(GenICam::AccessException)},
        {ExceptionKind::Timeout, &typeid(GenICam::TimeoutException)},
        {ExceptionKind::BadAlloc, &typeid(GenICam::BadAllocException)},
        {ExceptionKind::DynamicCast, &typeid(GenICam::DynamicCastException)},
    };
    for (const auto& [kind, type] : kinds) {
        try {
            ThrowPlainError(kind, "m", "U", "F", "f.cpp", 1);
        } catch (const GenICam::GenericException& error) {
            EXPECT_EQ(typeid(error), *type);
            EXPECT_EQ(std::string(error.what()), std::string(ExceptionName(kind)) + ": m (U, F)");
        }
    }
}

} // namespace
} // namespace Vireo
