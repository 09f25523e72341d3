// The device nodes as the cfgmgr32.dll of the tests reads them.
#pragma once

#include "machine/Machine.h"

#include <filesystem>
#include <string>

namespace livepc {

class NodeFile {
public:
    NodeFile(std::filesystem::path path, machine::Machine const & machine);
    NodeFile(NodeFile const &) = delete;
    NodeFile & operator=(NodeFile const &) = delete;
    ~NodeFile();

    void update(); // writes what has changed; throws a sentence when the file cannot be written

private:
    std::string text() const;

    std::filesystem::path const path_;
    machine::Machine const & machine_;
    std::string written_;
};

} // namespace livepc
