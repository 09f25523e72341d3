#include "UsbSpeed.h"

#include "Keys.h"

#include <array>

namespace nuvrusb {

SpeedCode speedCodeOfByte(std::uint8_t connectionSpeed) {
    static constexpr std::array<SpeedCode, highestSpeedByte + 1> codes{speedUsb10, speedUsb11, speedUsb20, speedSuper,
                                                                       speedSuperPlus};
    return connectionSpeed < codes.size() ? codes[connectionSpeed] : speedUnknown;
}

SpeedCode speedCodeOfVersion(float usbVersion) {
    // Versions are set from literals, never computed, so exact comparison is right.
    if (usbVersion == 1.0F) {
        return speedUsb10;
    }
    if (usbVersion == 1.1F) {
        return speedUsb11;
    }
    if (usbVersion == 2.0F || usbVersion == 2.1F) {
        return speedUsb20;
    }
    if (usbVersion == 3.0F) {
        return speedSuper;
    }
    if (usbVersion == 3.1F) {
        return speedSuperPlus;
    }
    return speedUnknown;
}

nuv::String mapUsbSpeedToString(SpeedCode speed) {
    switch (speed) {
    case speedUsb10:
        return "1.0";
    case speedUsb11:
        return "1.1";
    case speedUsb20:
    case 4:
        return "2.0";
    case speedSuper:
        return "USB 3.1 Gen 1 (SuperSpeed)";
    case speedSuperPlus:
        return "USB 3.1 Gen 2 (SuperSpeedPlus)";
    default:
        return keys::UNKNOWN_SPEED->localizedString().nuvString();
    }
}

} // namespace nuvrusb
