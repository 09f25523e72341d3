// One fuzzed hub, opened: what the targets of the module's record parsers start from.
#pragma once

#include "FuzzedPc.h"

#include "kernel/Runtime.h"

#include "nuv.h"

namespace fuzz {

class FuzzedHub {
public:
    FuzzedHub(std::uint8_t const * data, std::size_t size) : pc_(data, size), inUse_(pc_) {
        kernel::beginRun();
        nuv::CreateFileOpenArgs args;
        args.fileName = "\\\\?\\hub";
        handle_ = nuv::FileHandleResManager(args);
    }

    kernel::HANDLE get() const { return handle_.get(); }

private:
    FuzzedPc pc_;
    machine::InUse inUse_;
    nuv::FileHandleResManager handle_;
};

} // namespace fuzz
