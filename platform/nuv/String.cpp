#include "CaseMapping.h"
#include "machine/Text.h"
#include "nuv.h"

#include <algorithm>

namespace nuv {

String const String::EMPTY;

String::String(char const * utf8) : units_(utf8 == nullptr ? std::u16string() : machine::toUtf16(utf8)) {}

String::String(std::string const & utf8) : units_(machine::toUtf16(utf8)) {}

String::String(char16_t const * text) : units_(text == nullptr ? std::u16string() : std::u16string(text)) {}

String::String(std::u16string_view text) : units_(text) {}

std::string String::getUTF8String() const {
    return machine::toUtf8(units_);
}

int String::compareNoCase(String const & other) const {
    std::size_t const common = std::min(units_.size(), other.units_.size());
    for (std::size_t i = 0; i < common; ++i) {
        char16_t const mine = lowerCase(units_[i]);
        char16_t const theirs = lowerCase(other.units_[i]);
        if (mine != theirs) {
            return mine < theirs ? -1 : 1;
        }
    }
    if (units_.size() == other.units_.size()) {
        return 0;
    }
    return units_.size() < other.units_.size() ? -1 : 1;
}

bool String::equalNoCase(String const & other) const {
    return units_.size() == other.units_.size() && compareNoCase(other) == 0;
}

String String::toLower() const {
    String lower(*this);
    std::ranges::transform(lower.units_, lower.units_.begin(), lowerCase);
    return lower;
}

String & String::operator+=(String const & tail) {
    units_ += tail.units_;
    return *this;
}

} // namespace nuv
