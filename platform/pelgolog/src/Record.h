// Composing and checking the JSON text of a record.
#ifndef PELGOLOG_SRC_RECORD_H
#define PELGOLOG_SRC_RECORD_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace PelgoLog {

// "2026-11-21T14:25:30.042+01:00": the local time with milliseconds and the zone's offset.
std::string LocalTimestamp(std::chrono::system_clock::time_point when);

// The record of a Log call, stamped with the current time. Null texts are taken as empty.
std::string ComposeRecord(const char* module, int level, const char* userid, const char* message);

// A datagram from another process as a record: its compact JSON text when it is a JSON object
// with an integer "level", nothing otherwise.
std::optional<std::string> AcceptRecord(std::string_view datagram);

} // namespace PelgoLog

#endif
