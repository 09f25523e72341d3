// The contract, kept by the PC that the tests run on as far as it has the hardware.
#include "MachineContract.h"

#include "machine/windows/WindowsMachine.h"

#include <algorithm>
#include <vector>

namespace {

bool hasAController() {
    auto const pc = machine::makeWindowsMachine();
    return std::ranges::any_of(pc->devices().ofClass(machine::NodeClass::HostController),
                               [&pc](machine::NodeId node) { return pc->devices()[node].problem == 0; });
}

std::vector<ContractSubject> const & livePc() {
    static std::vector<ContractSubject> const subjects =
        hasAController() ? std::vector<ContractSubject>{{"Live", [] { return machine::makeWindowsMachine(); }}}
                         : std::vector<ContractSubject>{};
    return subjects;
}

TEST(LiveContract, NeedsAHostController) {
    if (!hasAController()) {
        GTEST_SKIP() << "this PC has none, so that the contract was not tried on it";
    }
}

INSTANTIATE_TEST_SUITE_P(Windows, MachineContract, testing::ValuesIn(livePc()),
                         [](auto const & instance) { return instance.param.name; });
INSTANTIATE_TEST_SUITE_P(Windows, MachineDiskContract, testing::ValuesIn(livePc()),
                         [](auto const & instance) { return instance.param.name; });

} // namespace
