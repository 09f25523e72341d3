// Every message key of the module, registered once before main. The host resolves a key to a text; the module has none
// of its own. A handle has the name of its key, exactly as hosts know it.
#pragma once

#include "tkit5.h"

#include <span>
#include <vector>

namespace nuvrusb {

// How a key reaches the host. An event key is raised with one severity only.
enum class KeyUse { Error, Warning, Informative, Text, NeverRaisedEvent, NeverShownText };

// One list for handles, registration and catalogue, in the order of registration: EVENT or TEXT (key, use, variables).
#define NUVRUSB_KEYS(EVENT, TEXT)                                                                                      \
    EVENT(READ_PERFORMANCE_NOT_OPTIMAL, Error, "performanceSpeed", "ThresholdSpeed")                                   \
    EVENT(WRITE_PERFORMANCE_NOT_OPTIMAL, Error, "performanceSpeed", "ThresholdSpeed")                                  \
    EVENT(DEVICE_SPEED_NOT_CONFIGURED, Warning, "DeviceName")                                                          \
    EVENT(DEVICE_NOT_INITIALIZED, Warning)                                                                             \
    EVENT(CANNOT_GET_SECTOR_SIZE, Warning)                                                                             \
    EVENT(CANNOT_GET_TOTAL_SECTORS, Warning)                                                                           \
    EVENT(CANNOT_OPEN_ACCESS_DENIED, Warning)                                                                          \
    EVENT(MAX_ERROR_REACHED, Error, "MaxError")                                                                        \
    EVENT(DEVICE_IS_BUSY, Warning)                                                                                     \
    EVENT(INVALID_HW_LOCATOR, Warning)                                                                                 \
    EVENT(INVALID_PARAMETER_RANGE, Warning, "minRange", "maxRange")                                                    \
    EVENT(FAILED_BACKUP, Warning)                                                                                      \
    EVENT(CANNOT_RESTORE_DATA, Warning, "TestSector", "EndSector")                                                     \
    EVENT(READ_SECTOR_ERROR, Warning, "ReadSector")                                                                    \
    EVENT(WRITE_SECTOR_ERROR, Warning, "WriteSector")                                                                  \
    EVENT(PEAK_READ_PERFORMANCE, Informative, "PeakReadPerformance")                                                   \
    EVENT(PEAK_WRITE_PERFORMANCE, Informative, "PeakWritePerformance")                                                 \
    EVENT(AVERAGE_READ_PERFORMANCE, Informative, "AverageReadPerformance")                                             \
    EVENT(AVERAGE_WRITE_PERFORMANCE, Informative, "AverageWritePerformance")                                           \
    EVENT(MEDIA_SIZE_TOO_SMALL, Warning, "mediaSize")                                                                  \
    EVENT(NO_MEDIA_PRESENT, Warning)                                                                                   \
    EVENT(BIT_LOCKER_DRIVE_ENCRYPTION_ERROR, Warning)                                                                  \
    EVENT(PARAMETER_VALUE_INVALID, Warning, "parameterName", "currentValue", "startRange", "endRange")                 \
    EVENT(LARGE_CHUNKS_OF_DATA_READ_FAILED, Warning)                                                                   \
    EVENT(EncryptedDriveDetected, Warning)                                                                             \
    EVENT(InvalidDeviceHandle, Warning)                                                                                \
    EVENT(TESTING_COULD_NOT_BE_PERFORMED, Warning)                                                                     \
    EVENT(OPERATIONS_TURNED_OFF, Warning)                                                                              \
    EVENT(harddrivePasswordProtected, Warning)                                                                         \
    TEXT(OPERATION_READ, NeverShownText)                                                                               \
    TEXT(OPERATION_WRITE, NeverShownText)                                                                              \
    TEXT(CURRENT_READ_PERFORMANCE, Text, "CurrentReadPerformance")                                                     \
    TEXT(CURRENT_WRITE_PERFORMANCE, Text, "CurrentWritePerformance")                                                   \
    TEXT(PERFORMANCE_READ_PROGRESS, Text)                                                                              \
    TEXT(PERFORMANCE_WRITE_PROGRESS, Text)                                                                             \
    TEXT(MEDIA_REQUIRED_TITLE, Text)                                                                                   \
    TEXT(MEDIA_REQUIRED_SIMPLE, Text, "MediaName")                                                                     \
    TEXT(MEDIA_TYPE_FLASH_MEMORY_CARD, Text)                                                                           \
    TEXT(DATA_WILL_BE_LOST_TITLE, Text)                                                                                \
    TEXT(DATA_WILL_BE_LOST_MESSAGE, Text, "mediaName")                                                                 \
    TEXT(FAILED_BACKUP_TITLE, Text)                                                                                    \
    TEXT(FAILED_BACKUP_MESSAGE, Text, "mediaName")                                                                     \
    EVENT(CAPABLE_OF_RUNNING_AT_HIGHER_SPEED, Error, "DeviceName", "ControllerName", "OperatingSpeed", "HigherSpeed")  \
    EVENT(NewDeviceNotEnoughPower, Warning, "ControllerName")                                                          \
    EVENT(NewDeviceCausedOvercurrent, Warning, "ControllerName")                                                       \
    EVENT(UNEXPECTED_SPEED_DETECTED, NeverRaisedEvent)                                                                 \
    EVENT(NO_DEVICE_CONNECTED, NeverRaisedEvent)                                                                       \
    TEXT(UNKNOWN_SPEED, Text)                                                                                          \
    TEXT(UnknownDevice, Text)                                                                                          \
    EVENT(DeviceNotConnected, Warning)                                                                                 \
    EVENT(DeviceIsDisabled, NeverRaisedEvent)                                                                          \
    EVENT(ChildDeviceIsDisabled, Warning)                                                                              \
    EVENT(ChildDeviceHasConfigManagerProblem, Error)                                                                   \
    EVENT(CannotGetDeviceProperty, Warning)                                                                            \
    EVENT(InvalidDeviceGuid, Warning)                                                                                  \
    EVENT(InvalidDeviceName, Warning)                                                                                  \
    EVENT(DeviceIORequestFail, Error)                                                                                  \
    EVENT(DeviceFailedEnumeration, Warning)                                                                            \
    EVENT(DeviceGeneralFailure, Warning)                                                                               \
    EVENT(DeviceCausedOvercurrent, Warning)                                                                            \
    EVENT(DeviceNotEnoughPower, Warning)                                                                               \
    EVENT(DeviceEnumerating, Warning)                                                                                  \
    EVENT(DeviceResetting, Warning)                                                                                    \
    EVENT(DeviceConfigurationError, Warning)

namespace keys {

#define NUVRUSB_DECLARE_EVENT(key, use, ...) extern tkit5::Event * const key;
#define NUVRUSB_DECLARE_TEXT(key, use, ...) extern tkit5::LocalizedString * const key;
NUVRUSB_KEYS(NUVRUSB_DECLARE_EVENT, NUVRUSB_DECLARE_TEXT)
#undef NUVRUSB_DECLARE_EVENT
#undef NUVRUSB_DECLARE_TEXT

} // namespace keys

struct CatalogueEntry {
    char const * key;
    KeyUse use;
    std::vector<char const *> variables; // in the order in which reports set them
};

std::span<CatalogueEntry const> keyCatalogue(); // in the order of registration

} // namespace nuvrusb
