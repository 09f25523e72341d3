#include "Confirmation.h"

#include "Keys.h"
#include "SourceUnit.h"

#include "tkit5.h"

#include <memory>

namespace nuvrusb {

using tkit5::MessageBox2_Return;

namespace {

bool isConsent(int answer) {
    switch (static_cast<MessageBox2_Return>(answer)) {
    case MessageBox2_Return::None:
    case MessageBox2_Return::Ok:
    case MessageBox2_Return::Yes:
    case MessageBox2_Return::NotShown:
        return true;
    case MessageBox2_Return::No:
    case MessageBox2_Return::Cancel:
    case MessageBox2_Return::Abort:
        return false;
    case MessageBox2_Return::Retry:
        break;
    }
    nuvrusbUnit.log(4, 1588, [answer](nuv::LoggerStream & message) {
        message << "The message box returned the unexpected result: "
                << tkit5::MessageBox2::toString(answer).getUTF8Buffer();
    });
    return true;
}

} // namespace

bool userConfirmedOperation(nuv::String const & mediaName, unsigned kind) {
    TraceScope const trace(nuvrusbUnit, "userConfirmedOperation", 1549);
    tkit5::TkitString message;
    tkit5::TkitString title;
    if (kind == confirmDataLoss) {
        message = keys::DATA_WILL_BE_LOST_MESSAGE->setVariable("mediaName", mediaName)->localizedString();
        title = keys::DATA_WILL_BE_LOST_TITLE->localizedString();
    } else if (kind == confirmFailedBackup) {
        message = keys::FAILED_BACKUP_MESSAGE->setVariable("mediaName", mediaName)->localizedString();
        title = keys::FAILED_BACKUP_TITLE->localizedString();
    }
    std::unique_ptr<tkit5::MessageBox2> const box = tkit5::DiagModule::createMessageBox2(
        message, title, tkit5::MessageBox2_Types::Plain, tkit5::MessageBox2_Options::YesNo,
        tkit5::MessageBox2_Looks::Question, true);
    if (!box || !box->display() || !box->wait(0)) {
        return true;
    }
    return isConsent(box->getReturn());
}

} // namespace nuvrusb
