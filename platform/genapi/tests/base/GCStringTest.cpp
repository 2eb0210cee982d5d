#include <Base/GCString.h>
#include <Base/GCStringVector.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <unordered_set>

using GenICam::gcstring;

TEST(GCString, ConstructsFromCStringsStdStringsAndNull) {
    EXPECT_STREQ(gcstring("Width").c_str(), "Width");
    EXPECT_STREQ(gcstring(std::string("Height")).c_str(), "Height");
    EXPECT_STREQ(gcstring("OffsetX", 6).c_str(), "Offset");
    EXPECT_STREQ(gcstring(3, 'x').c_str(), "xxx");
    const char* nothing = nullptr;
    EXPECT_TRUE(gcstring(nothing).empty());
    EXPECT_TRUE(gcstring(nothing, 4).empty());
    gcstring assigned("before");
    assigned = nothing;
    EXPECT_TRUE(assigned.empty());
}

TEST(GCString, ComparesWithEveryStringKindInBothOrders) {
    const gcstring name("PixelFormat");
    EXPECT_TRUE(name == "PixelFormat");
    EXPECT_TRUE("PixelFormat" == name);
    EXPECT_TRUE(name == std::string("PixelFormat"));
    EXPECT_TRUE(std::string("PixelFormat") == name);
    EXPECT_TRUE(name == gcstring("PixelFormat"));
    EXPECT_TRUE(name != "PixelFormats");
    EXPECT_TRUE("Pixel" != name);
    EXPECT_TRUE(gcstring() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(gcstring("A") < gcstring("B"));
    EXPECT_TRUE(gcstring("A") < "B");
    EXPECT_TRUE("A" < gcstring("B"));
    EXPECT_TRUE(gcstring("B") > gcstring("A"));
    EXPECT_TRUE(gcstring("A") <= gcstring("A"));
    EXPECT_TRUE(gcstring("B") >= gcstring("A"));
    EXPECT_LT(gcstring("abc").compare("abd"), 0);
}

TEST(GCString, ConcatenatesAndSearches) {
    gcstring text = gcstring("Gev") + "Current" + std::string("IP") + 'A';
    text += "ddress";
    EXPECT_EQ(text, "GevCurrentIPAddress");
    EXPECT_EQ(std::string("x") + gcstring("y"), "xy");
    EXPECT_EQ(text.length(), 19u);
    EXPECT_EQ(text.size(), 19u);
    EXPECT_EQ(text.find("Current"), 3u);
    EXPECT_EQ(text.find('Z'), gcstring::npos);
    EXPECT_EQ(text.rfind('d'), 14u);
    EXPECT_EQ(text.substr(3, 7), "Current");
    EXPECT_EQ(text.find_first_of("IP"), 10u);
    EXPECT_EQ(text.find_first_not_of("Gev"), 3u);
    EXPECT_EQ(text.find_last_of("e"), 16u);
    EXPECT_THROW(text.substr(40), std::out_of_range);
    EXPECT_THROW(text.at(19), std::out_of_range);
}

TEST(GCString, ConvertsToCStringAndStdString) {
    const gcstring value("Mono8");
    const char* raw = value;
    EXPECT_STREQ(raw, "Mono8");
    char printed[16];
    std::snprintf(printed, sizeof printed, "%s", static_cast<const char*>(value));
    EXPECT_STREQ(printed, "Mono8");
    std::string copied = value;
    EXPECT_EQ(copied, "Mono8");
    EXPECT_EQ(std::strlen(value), 5u);
}

TEST(GCString, StreamsInAndOut) {
    std::ostringstream out;
    out << gcstring("Exposure") << ' ' << gcstring();
    EXPECT_EQ(out.str(), "Exposure ");
    std::istringstream in("Gain Black");
    gcstring first, second;
    in >> first >> second;
    EXPECT_EQ(first, "Gain");
    EXPECT_EQ(second, "Black");
}

TEST(GCString, WorksAsHashKeyAndInLists) {
    std::unordered_set<gcstring> names{"Width", "Height"};
    EXPECT_EQ(names.count("Width"), 1u);
    EXPECT_EQ(names.count("Depth"), 0u);
    GenICam::gcstring_vector list{"a", "b"};
    list.push_back("c");
    EXPECT_EQ(list.size(), 3u);
    EXPECT_EQ(list[2], "c");
}
