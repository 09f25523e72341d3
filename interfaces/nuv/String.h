#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nuv {

// A text of 16-bit units, as Windows keeps its names: UTF-16 where it is well formed, but any sequence of units is
// kept unharmed, since device names come from hardware.
class String {
public:
    static String const EMPTY; // usable once main has begun, not during static initialisation

    String() = default;
    String(char const * utf8); // a null pointer gives the empty string; malformed UTF-8 becomes U+FFFD
    String(std::string const & utf8);
    String(char16_t const * text); // up to the terminator; a null pointer gives the empty string
    explicit String(std::u16string_view text);

    // UTF-8; an unpaired surrogate becomes U+FFFD.
    std::string getUTF8String() const;
    std::u16string_view view() const { return units_; }
    char16_t const * c_str() const { return units_.c_str(); } // terminated; valid until the string changes or goes
    std::size_t length() const { return units_.size(); }      // in 16-bit units
    bool empty() const { return units_.empty(); }

    // Order and equality without regard to case: simple case mapping of Latin (to U+017F), Greek and Cyrillic letters,
    // every other unit by its value. Below, at or above zero, as in strcmp.
    int compareNoCase(String const & other) const;
    bool equalNoCase(String const & other) const;
    String toLower() const; // a lower-cased copy, by the same mapping

    String & operator+=(String const & tail);
    friend String operator+(String head, String const & tail) { return head += tail; }
    friend bool operator==(String const & a, String const & b) { return a.units_ == b.units_; }
    friend bool operator<(String const & a, String const & b) { return a.units_ < b.units_; }

private:
    std::u16string units_;
};

} // namespace nuv
