#include "tkit5/DiagDevice.h"

namespace tkit5 {

DeviceCapability DeviceCapability::USB() {
    return DeviceCapability(0x01);
}
DeviceCapability DeviceCapability::USB2() {
    return DeviceCapability(0x02);
}
DeviceCapability DeviceCapability::USBComposite() {
    return DeviceCapability(0x04);
}
DeviceCapability DeviceCapability::USBController() {
    return DeviceCapability(0x08);
}
DeviceCapability DeviceCapability::USBPorts() {
    return DeviceCapability(0x10);
}
DeviceCapability DeviceCapability::USBMassStorage() {
    return DeviceCapability(0x20);
}
DeviceCapability DeviceCapability::HUB() {
    return DeviceCapability(0x40);
}
DeviceCapability DeviceCapability::ATA() {
    return DeviceCapability(0x80);
}

} // namespace tkit5
