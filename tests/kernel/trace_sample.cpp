// Prints a trace with every kind of line.
#include "ScriptedMachine.h"
#include "ScriptedTransfer.h"
#include "machine/TracingMachine.h"

#include <array>
#include <chrono>
#include <iostream>

int main() {
    using namespace std::chrono_literals;
    support::ScriptedMachine pc;
    machine::TracingMachine traced(pc, std::cout);
    std::array<std::byte, 16> buffer{};
    {
        machine::Opened const opened = traced.open({u"\\\\?\\a \"quoted\" path\u0001", 0xC0000000, 3, 3, 0x80});
        opened.file->control(0x22045C, buffer, buffer, 5s);
        opened.file->control(0x12345678, {}, {}, std::nullopt);
        traced.clock().sleep(1500us);

        opened.file->read(512, buffer);
        pc.transfer = [](bool, std::uint64_t, std::size_t) { return machine::Started{{19, 0}, nullptr}; };
        opened.file->write(0xFFFFFFFFFFFFFE00, buffer);
        opened.file->flush();

        pc.transfer = [&pc](bool, std::uint64_t, std::size_t size) {
            return support::goesOn(pc.clock(), {.takes = 1s, .outcome = {0, static_cast<std::uint32_t>(size)}});
        };
        auto const read = opened.file->read(0, buffer).pending;
        auto const write = opened.file->write(0, buffer).pending;
        read->wait(50ms);
        read->cancel();
        read->wait(0s);
        write->wait(60s);
    }
    pc.openError = 2;
    traced.open({u"\\\\?\\nothing", 0, 0, 3, 0});
}
