#include "terminal/Process.h"

#include "Text.h"

#include <windows.h>

#include <shellapi.h>

#include <array>
#include <cstddef>
#include <memory>

namespace terminal {

namespace {

struct FreeLocal {
    void operator()(wchar_t ** memory) const { LocalFree(memory); }
};

std::vector<std::wstring> typedArguments() {
    int count = 0;
    std::unique_ptr<wchar_t *, FreeLocal> const all(CommandLineToArgvW(GetCommandLineW(), &count));
    if (!all) {
        return {};
    }
    return {all.get(), all.get() + count};
}

// Whether these are the arguments that the process was started with, as main gets them: in the code page of the
// process, which cannot tell every text.
bool areTyped(std::vector<std::wstring> const & typed, int argc, char const * const * argv) {
    if (static_cast<std::size_t>(argc) != typed.size()) {
        return false;
    }
    for (std::size_t i = 1; i < typed.size(); ++i) {
        if (toCodePage(typed[i]) != argv[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<std::string> commandLineArguments(int argc, char const * const * argv) {
    std::vector<std::wstring> const typed = typedArguments();
    bool const takeTyped = argc > 0 && areTyped(typed, argc, argv);
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.push_back(takeTyped ? toUtf8(typed[static_cast<std::size_t>(i)]) : argv[i]);
    }
    return arguments;
}

std::string stateFolder() {
    DWORD const size = GetEnvironmentVariableW(L"LOCALAPPDATA", nullptr, 0);
    std::wstring value(size, L'\0');
    DWORD const length = size == 0 ? 0 : GetEnvironmentVariableW(L"LOCALAPPDATA", value.data(), size);
    return length == 0 || length >= size ? std::string() : toUtf8(value.substr(0, length));
}

std::string userLanguage() {
    // The language of the texts comes first: formats of numbers and dates may be those of another place.
    ULONG count = 0;
    ULONG size = 0;
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size) != FALSE) {
        std::wstring names(size, L'\0'); // each with a terminator
        if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &size) != FALSE && count != 0) {
            return toUtf8(names.substr(0, names.find(L'\0')));
        }
    }
    std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> name{};
    int const length = GetUserDefaultLocaleName(name.data(), static_cast<int>(name.size()));
    return length <= 1 ? std::string() : toUtf8({name.data(), static_cast<std::size_t>(length - 1)});
}

} // namespace terminal
