// The outcome of parsing outside input: the value, or the status that says what was wrong
// (for a command, the status a device answers with).
#pragma once

#include <optional>
#include <utility>

#include <GigE/Status.h>

namespace GigE {

template <typename Value>
class Parsed {
public:
    Parsed(Value value) : value_(std::move(value)) {}
    static Parsed failure(Status status) { return Parsed(status); }

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    // Success when a value is present.
    Status status() const { return status_; }

    const Value& operator*() const { return *value_; }
    const Value* operator->() const { return &*value_; }
    Value& operator*() { return *value_; }
    Value* operator->() { return &*value_; }

private:
    explicit Parsed(Status status) : status_(status) {}

    std::optional<Value> value_;
    Status status_ = Status::Success;
};

} // namespace GigE
