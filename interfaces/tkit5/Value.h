#pragma once

#include "../nuv/String.h"

#include <cstdint>
#include <string>
#include <variant>

namespace tkit5 {

// The framework's text: UTF-8.
class TkitString {
public:
    TkitString() = default;
    TkitString(char const * utf8); // a null pointer gives the empty text
    explicit TkitString(nuv::String const & text);

    char const * getUTF8Buffer() const { return text_.c_str(); } // valid as long as this text is unchanged
    nuv::String nuvString() const;
    bool empty() const { return text_.empty(); }

    friend bool operator==(TkitString const & a, TkitString const & b) = default;

private:
    std::string text_;
};

// What the framework throws when it cannot do its work.
class TkitException {
public:
    explicit TkitException(TkitString message) : message_(std::move(message)) {}
    TkitException(TkitException const &) = default;
    TkitException & operator=(TkitException const &) = default;
    virtual ~TkitException() = default;

    TkitString toString() const { return message_; }

private:
    TkitString message_;
};

// Types of parameters and variables. PERCENT is a number of percent that need not be whole; the framework checks types,
// never ranges.
enum class DataType { STRING, BOOLEAN, INT32, UINT32, UINT64, DOUBLE, PERCENT };

// One value of a parameter, a property or a variable. The readers convert where the value has that meaning and give an
// empty text, false or 0 where it has not.
class Value {
public:
    Value() = default; // the empty text
    Value(nuv::String const & text);
    Value(char const * utf8);
    Value(TkitString const & text);
    Value(bool value);
    Value(std::int32_t value);
    Value(std::uint32_t value);
    Value(std::uint64_t value);
    Value(double value, DataType type); // DOUBLE or PERCENT

    DataType type() const { return type_; }
    TkitString valueString() const; // any value as text: whole numbers in decimal, doubles as "%g" gives them
    bool valueBool() const;
    std::uint32_t valueUint32() const;
    double valuePercent() const; // of a DOUBLE or PERCENT

    friend bool operator==(Value const & a, Value const & b) = default;

private:
    DataType type_ = DataType::STRING;
    std::variant<TkitString, bool, std::int32_t, std::uint32_t, std::uint64_t, double> value_;
};

} // namespace tkit5
