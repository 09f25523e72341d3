#pragma once

namespace nuv {

// The small letter of a capital Latin (to U+017F), Greek or Cyrillic letter; every other unit as it is. Only pairs that
// map both ways: a dotted capital I or a long s is a letter of its own, as it is to Windows.
char16_t lowerCase(char16_t unit);

} // namespace nuv
