#include "Catalogue.h"
#include "ParameterValue.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

#include <memory>

namespace nuvrusb {

using tkit5::MessageBox2_Return;
using tkit5::TestResult;
using tkit5::TkitString;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

constexpr unsigned lookInterval = 500; // milliseconds between looks at the drive
constexpr unsigned noLimit = 0;

constexpr int codeOf(MessageBox2_Return answer) {
    return static_cast<int>(answer);
}

TkitString promptMessage(nuv::String const & deviceName) {
    nuv::String message =
        keys::MEDIA_REQUIRED_SIMPLE->setVariable("MediaName", keys::MEDIA_TYPE_FLASH_MEMORY_CARD->localizedString())
            ->localizedString()
            .nuvString();
    if (!deviceName.empty()) {
        message += " (" + deviceName + ")";
    }
    return TkitString(message);
}

} // namespace

int PerformanceCalculator::promptForMedia(nuv::SharedResourceManager<libMedia2::OSDrive> const & drive,
                                          nuv::String const & deviceName) {
    TraceScope const trace(unit, "PerformanceCalculator::promptForMedia", 61);
    std::unique_ptr<tkit5::MessageBox2> const box = tkit5::DiagModule::createMessageBox2(
        promptMessage(deviceName), keys::MEDIA_REQUIRED_TITLE->localizedString(), tkit5::MessageBox2_Types::Plain,
        tkit5::MessageBox2_Options::OkCancel, tkit5::MessageBox2_Looks::Question, true);
    if (!box || !box->display()) {
        return codeOf(MessageBox2_Return::NotShown);
    }
    for (;;) {
        if (box->wait(drive ? lookInterval : noLimit)) {
            int const answer = box->getReturn();
            if (answer == codeOf(MessageBox2_Return::Ok) && drive) {
                drive->loadDrive();
            }
            return answer;
        }
        // A medium that arrives while the box is open answers for the user.
        if (drive && (drive->isMediaPresent() || drive->isMediaLoading())) {
            return codeOf(MessageBox2_Return::Ok);
        }
    }
}

// Shows the prompt until there is a medium, at most MaxRetries times, and once in any case.
bool PerformanceCalculator::waitForMedia() {
    std::uint32_t remaining = uint32Or(parameters::MaxRetries, 0);
    do {
        int const answer = promptForMedia(drive_, deviceName_);
        if (answer == codeOf(MessageBox2_Return::Cancel)) {
            failureResult_ = TestResult::USERABORTED();
            return false;
        }
        if (answer == codeOf(MessageBox2_Return::Ok) && drive_->mediaState() == media_state::ready) {
            break;
        }
        remaining = remaining == 0 ? 0 : remaining - 1;
    } while (remaining != 0);

    if (drive_->mediaState() == media_state::none) {
        unit.log(1, 766, "Card Reader detected without media");
        failureResult_ = TestResult::NOMEDIA();
        raiseWarning(unit, keys::NO_MEDIA_PRESENT, 768);
        return false;
    }
    return true;
}

} // namespace nuvrusb
