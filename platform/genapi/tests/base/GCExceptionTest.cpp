#include <Base/GCException.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace GenICam;

template <class E>
class ExceptionClass : public ::testing::Test {};

using ExceptionClasses =
    ::testing::Types<InvalidArgumentException, OutOfRangeException, PropertyException, RuntimeException,
                     BadAllocException, LogicalErrorException, AccessException, TimeoutException,
                     DynamicCastException>;
TYPED_TEST_SUITE(ExceptionClass, ExceptionClasses);

TYPED_TEST(ExceptionClass, IsCaughtAsGenericAndStdExceptionWithItsTextAndPlace) {
    try {
        throw TypeParam("Node 'Width' not writable", "Node.cpp", 42);
    } catch (const GenericException& caught) {
        EXPECT_STREQ(caught.GetDescription(), "Node 'Width' not writable");
        EXPECT_STREQ(caught.what(), "Node 'Width' not writable");
        EXPECT_STREQ(caught.GetSourceFileName(), "Node.cpp");
        EXPECT_EQ(caught.GetSourceLine(), 42u);
        EXPECT_NE(dynamic_cast<const TypeParam*>(&caught), nullptr);
        return;
    }
    FAIL() << "not caught as GenericException";
}

TEST(ExceptionReporter, FormatsPrintfStyleAndAcceptsStringsDirectly) {
    const gcstring node("ExposureTime");
    const std::string unit("us");
    const RuntimeException error = RUNTIME_EXCEPTION("Node '%s' is %d %s", node, 10, unit);
    EXPECT_STREQ(error.GetDescription(), "Node 'ExposureTime' is 10 us");
    EXPECT_NE(std::string(error.GetSourceFileName()).find("GCExceptionTest.cpp"), std::string::npos);
    EXPECT_GT(error.GetSourceLine(), 0u);

    const AccessException plain = ACCESS_EXCEPTION(gcstring("100% literal"));
    EXPECT_STREQ(plain.GetDescription(), "100% literal");
    EXPECT_STREQ(TIMEOUT_EXCEPTION().GetDescription(), "");
}

TEST(ExceptionReporter, FormatsLongDescriptionsWhole) {
    const std::string longText(5000, 'x');
    const GenericException error = GENERIC_EXCEPTION("%s!", longText.c_str());
    EXPECT_EQ(std::string(error.GetDescription()), longText + "!");
}
