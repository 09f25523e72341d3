// Prints a trace with every kind of line.
#include "ScriptedMachine.h"
#include "machine/TracingMachine.h"

#include <array>
#include <chrono>
#include <iostream>

int main() {
    support::ScriptedMachine pc;
    machine::TracingMachine traced(pc, std::cout);
    std::array<std::byte, 16> buffer{};
    {
        machine::Opened const opened = traced.open({u"\\\\?\\a \"quoted\" path\u0001", 0xC0000000, 3, 3, 0x80});
        opened.file->control(0x22045C, buffer, buffer, std::chrono::seconds(5));
        opened.file->control(0x12345678, {}, {}, std::nullopt);
        traced.clock().sleep(std::chrono::microseconds(1500));
    }
    pc.openError = 2;
    traced.open({u"\\\\?\\nothing", 0, 0, 3, 0});
}
