#include "Counters.h"

#include "Names.h"

#include <string_view>

namespace machine::simulated {

Counters::Counters(Description const & description) {
    for (Controller const & controller : description.controllers) {
        collect(controller.facts);
        collect(controller.rootHub.facts);
        collect(controller.rootHub.hub);
    }
}

void Counters::collect(NodeFacts const & facts) {
    if (facts.driverKey) {
        keysTaken_.insert(*facts.driverKey);
    }
}

void Counters::collect(Hub const & hub) {
    for (Port const & port : hub.ports) {
        if (port.device == nullptr) {
            continue;
        }
        collect(port.device->facts);
        collect(port.device->nodes);
        if (port.device->disk && port.device->disk->number) {
            disksTaken_.insert(*port.device->disk->number);
        }
        if (port.device->hub != nullptr) {
            collect(*port.device->hub);
        }
    }
}

void Counters::collect(std::vector<Node> const & nodes) {
    for (Node const & node : nodes) {
        collect(node.facts);
        collect(node.nodes);
    }
}

std::u16string Counters::nextKey(std::u16string_view setupClass, std::uint32_t & counter) {
    std::u16string key;
    do {
        std::u16string const digits = decimal(counter++);
        std::size_t const zeros = digits.size() < 4 ? 4 - digits.size() : 0;
        key = std::u16string(setupClass) + u'\\' + std::u16string(zeros, u'0') + digits;
    } while (keysTaken_.contains(key));
    return key;
}

std::u16string Counters::nextUsbKey() {
    return nextKey(u"{36fc9e60-c465-11cf-8056-444553540000}", usbKeys_);
}

std::u16string Counters::nextDiskKey() {
    return nextKey(u"{4d36e967-e325-11ce-bfc1-08002be10318}", diskKeys_);
}

std::uint32_t Counters::nextDiskNumber() {
    do {
        ++disks_;
    } while (disksTaken_.contains(disks_));
    return disks_;
}

} // namespace machine::simulated
