#pragma once

#include "machine/Machine.h"

#include <functional>
#include <memory>

namespace machine {

// The PC that this program runs on. Its device tree is read when it is asked for first. What is to be done before a
// disk can be written to is called whenever one is opened for that.
std::unique_ptr<Machine> makeWindowsMachine(std::function<void()> beforeWriting = {});

} // namespace machine
