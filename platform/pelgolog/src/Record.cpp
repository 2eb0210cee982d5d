#include "Record.h"

#include <time.h>

#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

namespace PelgoLog {
namespace {

// Keys keep the order they are written in, so that records read well in a viewer.
using RecordObject = nlohmann::ordered_json;

std::string Text(const RecordObject& record) {
    // Replacing invalid UTF-8 keeps every record valid JSON, whatever bytes a caller logs.
    return record.dump(-1, ' ', false, RecordObject::error_handler_t::replace);
}

} // namespace

std::string LocalTimestamp(std::chrono::system_clock::time_point when) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(when);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(when - seconds).count();
    const time_t time = std::chrono::system_clock::to_time_t(seconds);
    struct tm local {};
    localtime_r(&time, &local);
    // Zone offsets stay within a day; the bound only keeps the text's width evident.
    const int offsetMinutes = static_cast<int>(local.tm_gmtoff / 60 % (24 * 60));
    const int offset = std::abs(offsetMinutes);
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02d:%02d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(milliseconds), offsetMinutes < 0 ? '-' : '+', offset / 60, offset % 60);
    return text;
}

std::string ComposeRecord(const char* module, int level, const char* userid, const char* message) {
    RecordObject record;
    record["timestamp"] = LocalTimestamp(std::chrono::system_clock::now());
    record["level"] = level;
    record["module"] = module != nullptr ? module : "";
    record["userid"] = userid != nullptr ? userid : "";
    record["message"] = message != nullptr ? message : "";
    return Text(record);
}

std::optional<std::string> AcceptRecord(std::string_view datagram) {
    RecordObject record = RecordObject::parse(datagram.begin(), datagram.end(), nullptr, false);
    if (record.is_discarded() || !record.is_object()) return std::nullopt;
    const auto level = record.find("level");
    if (level == record.end() || !level->is_number_integer()) return std::nullopt;
    return Text(record);
}

} // namespace PelgoLog
