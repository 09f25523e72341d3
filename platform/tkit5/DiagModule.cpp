// What a test calls while it runs. Everything goes to the run's session; outside a run it goes nowhere.
#include "Session.h"

#include <fmt/format.h>

namespace tkit5 {

namespace {

void raise(Severity severity, Event const * event, TkitString const & sourceFile, int sourceLine) {
    Session * const session = Session::active();
    if (session != nullptr && event != nullptr) {
        session->raise(severity, registered(*event), sourceFile, sourceLine);
    }
}

} // namespace

void DiagModule::error(Event const * event, TkitString const & sourceFile, int sourceLine) {
    raise(Severity::Error, event, sourceFile, sourceLine);
}

void DiagModule::warning(Event const * event, TkitString const & sourceFile, int sourceLine) {
    raise(Severity::Warning, event, sourceFile, sourceLine);
}

void DiagModule::informative(Event const * event, TkitString const & sourceFile, int sourceLine) {
    raise(Severity::Informative, event, sourceFile, sourceLine);
}

void DiagModule::progress(LocalizedString const * text) {
    Session * const session = Session::active();
    if (session != nullptr && text != nullptr) {
        session->progress(registered(*text));
    }
}

void DiagModule::percentDone(int percent) {
    if (Session * const session = Session::active()) {
        session->percentDone(percent);
    }
}

bool DiagModule::checkForStop() {
    Session * const session = Session::active();
    return session != nullptr && session->checkForStop();
}

// Every box is a modal question, whatever its type and looks: those are for hosts that draw.
std::unique_ptr<MessageBox2> DiagModule::createMessageBox2(TkitString const & message, TkitString const & title,
                                                           MessageBox2_Types, MessageBox2_Options options,
                                                           MessageBox2_Looks, bool) {
    Session * const session = Session::active();
    return session == nullptr ? nullptr : session->createMessageBox(message, title, options);
}

std::size_t DiagModule::optionalDeviceCount() {
    Session const * const session = Session::active();
    return session == nullptr ? 0 : session->optionalDevices().size();
}

DiagDevice const & DiagModule::optionalDevice(std::size_t index) {
    if (index >= optionalDeviceCount()) {
        std::string const message =
            fmt::format("Optional device {} was asked for, but there are {}.", index, optionalDeviceCount());
        throw TkitException(TkitString(message.c_str()));
    }
    return *Session::active()->optionalDevices()[index];
}

} // namespace tkit5
