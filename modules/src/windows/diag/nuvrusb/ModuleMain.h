#pragma once

namespace nuvrusb {

// The module's run from command line to exit code. Library exceptions become the exit code of an abnormal exit and one
// line on the error stream; any other exception leaves it.
int moduleMain(int argc, char ** argv);

} // namespace nuvrusb
