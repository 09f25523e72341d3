#pragma once

namespace nuv {

// A text stream of the process. Output that cannot be written is dropped: nothing throws.
class OStream {
public:
    using Manipulator = OStream & (*)(OStream &);

    constexpr OStream() = default;
    OStream(OStream const &) = delete;
    OStream & operator=(OStream const &) = delete;

    OStream & operator<<(char const * utf8); // a null pointer writes nothing
    OStream & operator<<(Manipulator manipulator) { return manipulator(*this); }
};

OStream & endl(OStream & stream); // ends the line and flushes

extern OStream cerr; // the error stream of the process

} // namespace nuv
