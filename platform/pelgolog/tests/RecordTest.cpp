#include "Record.h"

#include <regex>

#include "TestSupport.h"

namespace PelgoLogTest {
namespace {

using nlohmann::json;
using Records = ServiceTest;

TEST_F(Records, CarryEveryFieldWithItsType) {
    service->Log("vireo", PelgoLog::Warn, "SN4711", "exposure clipped");
    service->Log(nullptr, -7, nullptr, nullptr);
    const auto records = collector.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].size(), 5u);
    EXPECT_EQ(records[0]["level"], 300);
    EXPECT_EQ(records[0]["module"], "vireo");
    EXPECT_EQ(records[0]["userid"], "SN4711");
    EXPECT_EQ(records[0]["message"], "exposure clipped");
    EXPECT_TRUE(std::regex_match(records[0]["timestamp"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d)")));
    // Null texts are empty, any level goes.
    EXPECT_EQ(records[1]["level"], -7);
    EXPECT_EQ(records[1]["module"], "");
    EXPECT_EQ(records[1]["message"], "");
}

TEST_F(Records, AreValidJsonOnOneLineWhateverTheTextHolds) {
    const std::string tricky = "quote \" backslash \\ newline \n tab \t bell \x07 \xc3\xa9t\xc3\xa9 \xe2\x82\xac";
    service->Log("mod\"ule", 400, "user\\id", tricky.c_str());
    service->Log("vireo", 400, "\xff", "broken \xc3 sequence");  // not UTF-8
    const auto records = collector.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0]["message"], tricky);
    EXPECT_EQ(records[0]["module"], "mod\"ule");
    EXPECT_EQ(records[0]["userid"], "user\\id");
    EXPECT_EQ(records[1]["userid"], "\xef\xbf\xbd");  // U+FFFD
    EXPECT_EQ(records[1]["message"].get<std::string>().rfind("broken ", 0), 0u);
}

TEST(AcceptedRecord, IsAJsonObjectWithAnIntegerLevel) {
    EXPECT_EQ(PelgoLog::AcceptRecord(R"( {"level": 200, "message": "a"} )"), R"({"level":200,"message":"a"})");
    // C senders often send the terminating null character along.
    EXPECT_EQ(PelgoLog::AcceptRecord(std::string_view("{\"level\":-1}\0", 13)), R"({"level":-1})");
    for (const char* malformed : {"", "not json", "{\"level\":200", "[1,2]", "\"text\"", "{}", "{\"level\":\"200\"}",
                                  "{\"level\":2.5}", "{\"level\":200} trailing"})
        EXPECT_FALSE(PelgoLog::AcceptRecord(malformed).has_value()) << malformed;
}

} // namespace
} // namespace PelgoLogTest
