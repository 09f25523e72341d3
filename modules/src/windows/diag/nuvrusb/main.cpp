#include "ModuleMain.h"

int main(int argc, char ** argv) {
    // An exception that nobody catches need not unwind the stack. This handler makes sure that scopes and guards run
    // before such an exception ends the process.
    try {
        return nuvrusb::moduleMain(argc, argv);
    } catch (...) {
        throw;
    }
}
