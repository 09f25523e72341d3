// nuv, the core library: strings, logging, trace scopes, the error stream, arrays, the stopwatch, shared holders,
// file handles and system errors. One header for callers; the pieces live in nuv/.
//
// Unless an operation says otherwise it does not block, does not fail and throws only on exhausted memory.
#pragma once

#include "nuv/Array.h"
#include "nuv/Exception.h"
#include "nuv/FileHandle.h"
#include "nuv/Logging.h"
#include "nuv/Mutex.h"
#include "nuv/OStream.h"
#include "nuv/SharedResourceManager.h"
#include "nuv/Stopwatch.h"
#include "nuv/String.h"
#include "nuv/System.h"
