// The kernel services that the module calls: files and their I/O controls, events and waits, memory, the error mode;
// and the published records that USB and storage I/O controls carry. One header for callers; the pieces live in
// kernel/.
//
// Names and values are the published ones of Windows, in a namespace of their own: functions such as CreateFileW live
// here safely, but the constants are macros in the headers of Windows, so no file includes both.
#pragma once

#include "kernel/Events.h"
#include "kernel/Files.h"
#include "kernel/StorageRecords.h"
#include "kernel/UsbRecords.h"
