#include "nuv.h"
#include "nuv/LogSink.h"

#include <atomic>
#include <cstdio>
#include <ostream>

namespace nuv {

namespace {

// Null: the process's own error stream, through the C library, which works at any time of start-up and exit.
std::atomic<std::ostream *> redirection = nullptr;

} // namespace

constinit OStream cerr;

void setErrorStream(std::ostream * stream) {
    redirection = stream;
}

OStream & OStream::operator<<(char const * utf8) {
    if (utf8 == nullptr) {
        return *this;
    }
    std::ostream * const stream = redirection;
    if (stream == nullptr) {
        std::fputs(utf8, stderr);
        return *this;
    }
    try {
        *stream << utf8;
    } catch (...) {
        // A stream may have been told to throw. There is nowhere left to say that errors cannot be written.
    }
    return *this;
}

OStream & endl(OStream & stream) {
    stream << "\n";
    std::ostream * const redirected = redirection;
    if (redirected == nullptr) {
        std::fflush(stderr);
        return stream;
    }
    try {
        redirected->flush();
    } catch (...) {
        // As above.
    }
    return stream;
}

} // namespace nuv
