// tkit5, the diagnostic-module framework: it owns what the module declares (tests, parameters, keys), decides from the
// command line what to do, offers devices to tests, and carries events, progress and prompts to the host. One header
// for callers; the pieces live in tkit5/.
//
// Everything here is called on one thread. Objects behind pointers belong to the framework and live as long as the
// process, unless an operation says otherwise.
#pragma once

#include "tkit5/DiagDevice.h"
#include "tkit5/DiagModule.h"
#include "tkit5/MessageBox2.h"
#include "tkit5/TestResult.h"
#include "tkit5/Value.h"
