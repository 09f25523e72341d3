// Carries a command of the program out several times in one process, and says after each how many handles are open:
// RepeatedRuns COUNT COMMAND...
#include "HandleCount.h"
#include "ModuleMain.h"
#include "machine/windows/Handle.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

// Once threads that are about to end have ended: a few seconds at most, unless there are no more than before.
std::size_t handlesLeft(std::size_t before) {
    std::size_t count = 0;
    for (int tries = 0; tries < 20; ++tries) {
        Sleep(250);
        count = test::handleCount();
        if (tries > 0 && count <= before) {
            break;
        }
    }
    return count;
}

} // namespace

int main(int argc, char ** argv) {
    std::span<char * const> const given(argv, static_cast<std::size_t>(argc));
    if (given.size() < 3) {
        std::fputs("usage: RepeatedRuns COUNT COMMAND...\n", stderr);
        return 2;
    }
    int const count = std::atoi(given[1]);
    std::size_t left = 0;
    for (int i = 0; i < count; ++i) {
        std::vector<char *> arguments{given[0]};
        arguments.insert(arguments.end(), given.begin() + 2, given.end());
        arguments.push_back(nullptr);
        int const code = nuvrusb::moduleMain(static_cast<int>(arguments.size() - 1), arguments.data());
        left = handlesLeft(left);
        std::fprintf(stderr, "code %d, handles %zu\n", code, left);
    }
    return 0;
}
