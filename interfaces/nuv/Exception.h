#pragma once

#include "String.h"

namespace nuv {

// What the core library and the libraries on top of it throw when they cannot do their work.
class Exception {
public:
    explicit Exception(String message) : message_(std::move(message)) {}
    Exception(Exception const &) = default;
    Exception & operator=(Exception const &) = default;
    virtual ~Exception() = default;

    String toString() const { return message_; }

private:
    String message_;
};

} // namespace nuv
