// A PC with a handful of device nodes:
//
//   root
//     acpi
//       controller A -- root hub -- stick -- disk 1, reader (disabled) -- disk 2 (hidden)
//     controller B (not listed)
//     disk 3 (not present)
#pragma once

#include "kernel/ScriptedMachine.h"
#include "machine/Machine.h"

#include <string_view>

namespace support {

class SmallPc {
public:
    SmallPc() {
        using machine::NodeClass;
        machine::NodeId const acpi = add(root(), NodeClass::Other, u"ACPI\\PNP0A08\\0");
        controllerA = add(acpi, NodeClass::HostController, u"PCI\\VEN_8086\\A");
        machine::NodeId const hub = add(controllerA, NodeClass::Hub, u"USB\\ROOT_HUB30\\1");
        stick = add(hub, NodeClass::UsbDevice, u"USB\\VID_0781&PID_5591\\4C53");
        disk1 = add(stick, NodeClass::Disk, u"USBSTOR\\DISK&VEN_SANDISK\\1", u"\\\\.\\PhysicalDrive1");
        reader = add(hub, NodeClass::UsbDevice, u"USB\\VID_05E3&PID_0749\\7", {}, machine::problemDisabled);
        disk2 = add(reader, NodeClass::Disk, u"USBSTOR\\DISK&VEN_GENERIC\\2", u"\\\\.\\PhysicalDrive2", 0, true);
        controllerB = add(root(), NodeClass::HostController, u"PCI\\VEN_1B21\\B", {}, 0, false, true, false);
        disk3 = add(root(), NodeClass::Disk, u"USBSTOR\\DISK&VEN_GONE\\3", {}, 0, false, false);
    }

    machine::NodeId root() const { return pc.tree.root(); }

    ScriptedMachine pc;
    machine::NodeId controllerA{}, stick{}, disk1{}, reader{}, disk2{}, controllerB{}, disk3{};

private:
    machine::NodeId add(machine::NodeId parent, machine::NodeClass nodeClass, std::u16string_view instanceId,
                        std::u16string_view path = {}, std::uint32_t problem = 0, bool hidden = false,
                        bool present = true, bool listed = true) {
        machine::DeviceNode node;
        node.nodeClass = nodeClass;
        node.instanceId = instanceId;
        node.interfacePath = path;
        node.problem = problem;
        node.hidden = hidden;
        node.present = present;
        node.listed = listed;
        node.description = std::u16string(u"driver of ").append(instanceId);
        if (nodeClass == machine::NodeClass::Disk) {
            node.friendlyName = std::u16string(u"disk ").append(instanceId);
            return pc.tree.addDisk(parent, node, {});
        }
        node.driverKey = std::u16string(u"key of ").append(instanceId);
        return pc.tree.add(parent, node);
    }

    machine::InUse inUse_{pc};
};

} // namespace support
