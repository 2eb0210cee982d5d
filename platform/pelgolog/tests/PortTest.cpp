#include "TestSupport.h"

namespace PelgoLogTest {
namespace {

using nlohmann::json;
using Ports = ServiceTest;

TEST_F(Ports, PassingLocalRecordsGoToTheOutPortOneDatagramEach) {
    TestSocket viewer, otherViewer;
    service->SetPorts(0, viewer.port, 0);
    EXPECT_EQ(service->LastPortError(), "");
    RuleFilter warnings(Always, [](const json& r) { return r["level"] <= 300; });
    service->RegisterFilterCallback(&warnings);
    service->Log("m", 400, "", "filtered out");
    service->Log("m", 300, "u", "first");
    service->Log("m", 200, "u", "second");
    service->UnregisterFilterCallback(&warnings);
    const auto records = collector.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(json::parse(viewer.Receive()), records[0]);
    EXPECT_EQ(json::parse(viewer.Receive()), records[1]);

    service->SetPorts(0, otherViewer.port, 0);
    service->Log("m", 300, "", "after the change");
    EXPECT_EQ(json::parse(otherViewer.Receive())["message"], "after the change");
}

TEST_F(Ports, RecordsOnTheInPortsPassTheFiltersAndAreNotSentOn) {
    const uint16_t in = FreePort(), aux = FreePort();
    TestSocket sender, viewer;
    service->SetPorts(in, viewer.port, aux);
    ASSERT_EQ(service->LastPortError(), "");
    RuleFilter noDebug(Always, [](const json& r) { return r["level"] < 500; });
    service->RegisterFilterCallback(&noDebug);
    for (const char* malformed : {"no record", "[\"level\", 300]", R"({"level":"300"})"}) sender.SendTo(in, malformed);
    sender.SendTo(in, R"({"level":500,"message":"filtered out"})");
    sender.SendTo(in, R"({"timestamp":"2026-11-21T14:25:30.042+01:00","level":300,"module":"viewer","message":"from afar"})");
    ASSERT_TRUE(collector.WaitFor(1));
    sender.SendTo(aux, R"({"level":100,"module":"av","message":"aux"})");
    ASSERT_TRUE(collector.WaitFor(2));
    service->Log("m", 400, "", "local");
    service->UnregisterFilterCallback(&noDebug);
    const auto records = collector.Records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0], json::parse(R"({"timestamp":"2026-11-21T14:25:30.042+01:00","level":300,"module":"viewer","message":"from afar"})"));
    EXPECT_EQ(records[1]["message"], "aux");
    // Only the local record reaches the viewer.
    EXPECT_EQ(json::parse(viewer.Receive())["message"], "local");
}

TEST_F(Ports, PortsMoveAndRebindAndFailuresAreReportedWithoutStoppingTheLog) {
    const uint16_t first = FreePort();
    TestSocket sender;
    service->SetPorts(first, 0, 0);
    service->SetPorts(first, 0, first);  // the same port again, and twice in one call
    ASSERT_EQ(service->LastPortError(), "");
    sender.SendTo(first, R"({"level":400,"message":"one"})");
    ASSERT_TRUE(collector.WaitFor(1));

    TestSocket occupant;  // a port taken by someone else
    service->SetPorts(occupant.port, 70000, 0);
    const std::string error = service->LastPortError();
    EXPECT_NE(error.find(std::to_string(occupant.port)), std::string::npos) << error;
    EXPECT_NE(error.find("70000"), std::string::npos) << error;
    service->Log("m", 400, "", "local logging goes on");

    const uint16_t second = FreePort();
    service->SetPorts(second, 0, 0);
    EXPECT_EQ(service->LastPortError(), "");
    sender.SendTo(first, R"({"level":400,"message":"to the closed port"})");
    sender.SendTo(second, R"({"level":400,"message":"two"})");
    ASSERT_TRUE(collector.WaitFor(3));
    EXPECT_EQ(collector.Field("message"), (std::vector<std::string>{"one", "local logging goes on", "two"}));
}

} // namespace
} // namespace PelgoLogTest
