// The rules by which ports and the devices on them are judged for speed and power.
#pragma once

#include "UsbSpeed.h"

#include "nuv.h"
#include "tkit5.h"
#include "usbtopo.h"

namespace nuvrusb {

// Judges a port and all that is attached behind it. Results of a hub's ports are collected as they finish; the result
// of its last occupied port is returned instead, for the caller to collect.
tkit5::TestResult checkPortSpeed(nuv::SharedResourceManager<usbtopo::CUsbPort> const & port,
                                 nuv::String const & controllerInstanceId, nuv::String const & controllerName,
                                 SpeedCode inheritedSpeed);

// WARN when the port reports overcurrent or too little power.
tkit5::TestResult deviceOperationalStatus(usbtopo::CUsbPort const & port, nuv::String const & controllerName);

// FAIL when the fastest speed is demanded and the device runs below what its port can do.
tkit5::TestResult verifyDesiredVerificationSpeed(usbtopo::CUsbDevice const & device, nuv::String const & controllerName,
                                                 SpeedCode running, SpeedCode maximum);

} // namespace nuvrusb
