// PelgoLog: a process-wide logging service. Components log records through one shared service;
// filters decide which records pass, and every passing record reaches every log callback and,
// when configured, a log viewer listening on a loopback UDP port.
//
// A record is the text of one JSON object:
//   {"timestamp":"2026-11-21T14:25:30.042+01:00","level":400,"module":"vireo","userid":"","message":"..."}
// "timestamp" is the local time of the Log call, ISO 8601 with milliseconds and the UTC offset
// of the local time zone; "level" is an integer (see Level). Texts are escaped as JSON requires;
// invalid UTF-8 in them becomes U+FFFD, so that a record is always valid JSON.
//
// The header compiles as C++17.
#ifndef PELGOLOG_PELGOLOG_H
#define PELGOLOG_PELGOLOG_H

#include <cstdint>
#include <string>

#if defined(__GNUC__)
#define PELGOLOG_API __attribute__((visibility("default")))
#else
#define PELGOLOG_API
#endif

namespace PelgoLog {

// Severities; a higher number is more verbose. Any int may be logged: the names are anchors.
enum Level : int { Fatal = 100, Error = 200, Warn = 300, Info = 400, Debug = 500, Verbose = 600 };

// Receives every record that passes the filters.
class PELGOLOG_API ILogCallback {
public:
    virtual void OnLog(const char* record) = 0;
    virtual ~ILogCallback();
};

// Decides over records. OnFilter tells whether this filter participates in the decision on the
// record; when it does, OnFilterOut tells whether the record passes. A record passes when
// every participating filter lets it pass (so with no filters every record passes).
class PELGOLOG_API IFilterCallback {
public:
    virtual bool OnFilter(const char* record) = 0;
    virtual bool OnFilterOut(const char* record) = 0;
    virtual ~IFilterCallback();
};

// The process-wide service. Every member may be called from any thread.
//
// Callbacks run on the thread that logs (or, for records arriving on an input port, on the
// service's receiver thread). No lock of the service is held while a callback runs, so a
// callback may log, register or unregister callbacks (including itself) and set the ports.
// A callback that throws is ignored for that record (a throwing filter does not participate).
//
// Unregistering guarantees that the callback is not called any more once the call returns:
// it waits for calls of that callback still running on other threads, so the object can be
// destroyed right afterwards. (Two callbacks that unregister each other at the same moment
// from inside their own calls, on two threads, therefore wait for each other forever; a call
// running on the unregistering thread itself is not waited for.)
class PELGOLOG_API Service {
public:
    // Loopback UDP ports; 0 turns a port off (the initial state). Received datagrams on
    // inPort and auxInPort (a second listener, e.g. for another process's records) go through
    // the filters and callbacks like local records; those that are not a JSON object with an
    // integer "level" are dropped. Every passing local record is sent as one datagram to
    // 127.0.0.1:outPort (records larger than a datagram are not sent); received records are
    // not sent on again, so that two services pointed at each other do not echo records
    // forever. Each call closes the previous sockets and opens the new ones. A port that
    // cannot be opened stays off; the reason is kept for LastPortError and logging goes on.
    virtual void SetPorts(uint32_t inPort, uint32_t outPort, uint16_t auxInPort) = 0;
    // Why the last SetPorts could not open some port ("" when everything asked for is open).
    virtual std::string LastPortError() const = 0;

    // Registering a callback twice registers it once; null and unknown callbacks are ignored.
    virtual void RegisterLogCallback(ILogCallback* callback) = 0;
    virtual void UnregisterLogCallback(ILogCallback* callback) = 0;
    virtual void RegisterFilterCallback(IFilterCallback* callback) = 0;
    virtual void UnregisterFilterCallback(IFilterCallback* callback) = 0;

    // Composes a record and delivers it when it passes. Null texts are taken as empty.
    // Never throws.
    virtual void Log(const char* module, int level, const char* userid, const char* message) = 0;

protected:
    virtual ~Service();
};

// The process-wide service, created by the first Init. Every Init is paired with a Deinit;
// the last Deinit stops the service's threads and frees it (with every registration it
// held), and a later Init creates a fresh one. Returns null only when the service cannot be
// created (out of memory). The last Deinit must not come from inside a callback.
PELGOLOG_API Service* Init();
// Gives back a reference taken by Init. Null, or a service that is no longer current, is ignored.
PELGOLOG_API void Deinit(Service* service);

} // namespace PelgoLog

#endif
