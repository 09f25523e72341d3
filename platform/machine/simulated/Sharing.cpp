#include "Sharing.h"

#include "kernel/Files.h"
#include "kernel/StorageRecords.h"

namespace machine::simulated {

Sharing sharingOf(OpenRequest const & request) {
    constexpr std::uint32_t readAccess = kernel::GENERIC_READ | 0x10000001;   // with GENERIC_ALL, FILE_READ_DATA
    constexpr std::uint32_t writeAccess = kernel::GENERIC_WRITE | 0x10000006; // with FILE_WRITE_DATA, FILE_APPEND_DATA
    return {(request.access & readAccess) != 0, (request.access & writeAccess) != 0,
            (request.share & kernel::FILE_SHARE_READ) != 0, (request.share & kernel::FILE_SHARE_WRITE) != 0};
}

bool isForbidden(Openable const & target, Sharing const & wanted) {
    return takesPart(wanted) &&
           ((wanted.reads && target.sharingRead < target.opens) ||
            (wanted.writes && target.sharingWrite < target.opens) || (!wanted.sharesRead && target.readers > 0) ||
            (!wanted.sharesWrite && target.writers > 0));
}

bool hasAccess(bool reads, bool writes, std::uint32_t controlCode) {
    std::uint32_t const needed = kernel::requiredAccess(controlCode);
    return ((needed & kernel::FILE_READ_ACCESS) == 0 || reads) && ((needed & kernel::FILE_WRITE_ACCESS) == 0 || writes);
}

Share::Share(Openable & target, Sharing const & sharing) : target_(target), sharing_(sharing) {
    count(1);
}

Share::~Share() {
    count(~std::uint32_t{0});
}

bool Share::isOnlyOne() const {
    return target_.opens == (takesPart(sharing_) ? 1U : 0U);
}

void Share::count(std::uint32_t by) {
    if (takesPart(sharing_)) {
        target_.opens += by;
        target_.readers += sharing_.reads ? by : 0;
        target_.writers += sharing_.writes ? by : 0;
        target_.sharingRead += sharing_.sharesRead ? by : 0;
        target_.sharingWrite += sharing_.sharesWrite ? by : 0;
    }
}

} // namespace machine::simulated
