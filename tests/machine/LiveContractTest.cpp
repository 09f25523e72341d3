// The contract, kept by the PC that the tests run on as far as it has the hardware.
#include "MachineContract.h"

#include "machine/windows/WindowsMachine.h"

#include <vector>

namespace {

bool hasAController() {
    auto const pc = machine::makeWindowsMachine();
    for (machine::NodeId const node : pc->devices().ofClass(machine::NodeClass::HostController)) {
        if (pc->devices()[node].problem == 0) {
            return true;
        }
    }
    return false;
}

std::vector<ContractSubject> livePc() {
    if (!hasAController()) {
        return {};
    }
    return {{"Live", machine::makeWindowsMachine}};
}

TEST(LiveContract, NeedsAHostController) {
    if (!hasAController()) {
        GTEST_SKIP() << "this PC has none, so that the contract was not tried on it";
    }
}

INSTANTIATE_TEST_SUITE_P(Windows, MachineContract, testing::ValuesIn(livePc()),
                         [](auto const & instance) { return instance.param.name; });

} // namespace
