// Share modes and access: who may open what while others have it open, and who may ask it what.
#pragma once

#include "Bus.h"
#include "machine/Machine.h"

#include <cstdint>

namespace machine::simulated {

struct Sharing {
    bool reads;
    bool writes;
    bool sharesRead;
    bool sharesWrite;
};

Sharing sharingOf(OpenRequest const & request);

// An open that only asks for attributes takes no part in sharing.
inline bool takesPart(Sharing const & sharing) {
    return sharing.reads || sharing.writes;
}

bool isForbidden(Openable const & target, Sharing const & wanted);

// Whether an open has the access that an I/O control needs, which is looked at before a driver sees the control.
bool hasAccess(bool reads, bool writes, std::uint32_t controlCode);

// One open as it is counted, from construction to destruction. The target stays where it is meanwhile.
class Share {
public:
    Share(Openable & target, Sharing const & sharing);
    Share(Share const &) = delete;
    Share & operator=(Share const &) = delete;
    ~Share();

    bool isOnlyOne() const; // of the opens that take part

private:
    void count(std::uint32_t by);

    Openable & target_;
    Sharing const sharing_;
};

} // namespace machine::simulated
