// Host controllers: the way from a controller of the USB topology to its handle and its root hub's name.
#pragma once

#include "kernel.h"
#include "nuv.h"

namespace nuvrusb {

// Finds the operating system's controller with that instance ID, in any letter case, and writes its lower-cased OS
// locator (which may be empty). False when there is none.
bool getControllerOSLocator(nuv::String const & instanceId, nuv::String & osLocator);

// The name by which the controller's root hub can be opened; empty when the controller does not tell it.
nuv::String getRootHubName(kernel::HANDLE controller);

} // namespace nuvrusb
