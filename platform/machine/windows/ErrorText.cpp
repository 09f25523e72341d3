#include "ErrorText.h"

#include "Wide.h"
#include "machine/Text.h"

#include <windows.h>

#include <array>

namespace machine::windows {

std::string errorText(std::uint32_t error) {
    std::array<wchar_t, 512> text;
    DWORD const size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                      text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::wstring_view sentence(text.data(), size);
    sentence = sentence.substr(0, sentence.find_last_not_of(L" .\r\n") + 1);
    return sentence.empty() ? "error " + std::to_string(error) : toUtf8(fromWide(sentence));
}

} // namespace machine::windows
