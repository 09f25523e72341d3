// What a system tells a program beside its standard streams.
#pragma once

#include <string>
#include <vector>

namespace terminal {

// The arguments of main in UTF-8, without the program's own name. Where the system hands main something poorer than
// what was typed, its own record of the command line is taken instead.
std::vector<std::string> commandLineArguments(int argc, char const * const * argv);

// The language that the user chose for the system, as a tag such as "de-DE"; empty where only the environment tells.
std::string userLanguage();

// The folder for what programs remember between their runs for this user, UTF-8; empty where the system names none.
std::string stateFolder();

} // namespace terminal
