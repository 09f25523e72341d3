// One target as a libFuzzer program: FUZZ_TARGET is the name of the target.
#include "Targets.h"

#include <algorithm>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static fuzz::Target const & target = *std::ranges::find(fuzz::targets(), std::string_view(FUZZ_TARGET),
                                                            [](fuzz::Target const & one) { return one.name; });
    target.run(data, size);
    return 0;
}
