#include "nuv.h"

#include <algorithm>
#include <array>

namespace nuv {

namespace {

struct Sentence {
    std::uint32_t code;
    char const * text;
};

// In ascending order of codes.
constexpr std::array<Sentence, 51> sentences{{
    {0, "Nothing failed."},
    {1, "The device does not know this request."},
    {2, "There is no file or device of this name."},
    {3, "There is no folder of this name."},
    {4, "The process has too many files open."},
    {5, "Access was refused."},
    {6, "The handle is not open."},
    {8, "There is not enough memory."},
    {15, "There is no such drive."},
    {19, "The medium is write-protected."},
    {20, "The system does not know this unit."},
    {21, "The device is not ready."},
    {22, "The device rejected the command."},
    {23, "The data failed its checksum."},
    {24, "The length of the request does not fit the device."},
    {25, "The drive could not find the track or area."},
    {26, "The medium is not formatted in a way that the system knows."},
    {27, "The drive did not find the sector."},
    {29, "The device could not write."},
    {30, "The device could not read."},
    {31, "The device reported a general failure."},
    {32, "Somebody else has the file or device open and does not share it."},
    {33, "Somebody else has locked this part of the file."},
    {50, "The device does not support this request."},
    {53, "The server was not found."},
    {55, "The device is no longer there."},
    {67, "The server does not have this share."},
    {87, "A parameter of the request is wrong."},
    {112, "The medium is full."},
    {121, "The device did not answer in time."},
    {122, "The buffer of the request is too small."},
    {123, "This name is too long, or the system does not allow it."},
    {170, "The device is in use."},
    {206, "This name or path is longer than the system allows."},
    {234, "There is more data than the buffer of the request holds."},
    {433, "The device is gone."},
    {483, "The request failed because of a defect of the device."},
    {995, "The transfer was cancelled."},
    {996, "The transfer is still under way."},
    {997, "The transfer has begun and will go on."},
    {1006, "The volume was changed under the open file."},
    {1106, "The block length does not fit the medium."},
    {1110, "The medium may have been exchanged."},
    {1111, "The bus was reset."},
    {1112, "There is no medium in the drive."},
    {1117, "The device reported an input or output error."},
    {1167, "The device is not connected."},
    {1392, "The file or folder is damaged."},
    {1393, "The structure of the disk is damaged."},
    {1460, "The time for the request was over."},
    {1617, "The device was removed."},
}};

} // namespace

std::uint32_t System::getSystemError() {
    return kernel::GetLastError();
}

String System::getSystemErrorMsg(std::uint32_t code) {
    auto const found = std::ranges::lower_bound(sentences, code, {}, &Sentence::code);
    if (found != sentences.end() && found->code == code) {
        return found->text;
    }
    return "error " + std::to_string(code);
}

} // namespace nuv
