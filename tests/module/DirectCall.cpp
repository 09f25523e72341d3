#include "DirectCall.h"

#include "support/Describe.h"

#include "kernel/Runtime.h"
#include "nuv/LogSink.h"

namespace test {

void KeepingReporter::event(tkit5::EventReport const & event) {
    lines.push_back(std::string(severityName(event.severity)) + " " + event.key + " " +
                    std::to_string(event.sourceLine));
}

void KeepingReporter::log(tkit5::LogReport const & line) {
    lines.push_back("log" + std::to_string(line.priority) + " " + line.text);
}

void KeepingReporter::trace(tkit5::TraceReport const & scope) {
    scopes.push_back((scope.entered ? "+" : "-") + scope.function + ":" + std::to_string(scope.sourceLine));
}

DirectCall::DirectCall(Json const & pc, int logPriority)
    : machine_(support::describedPc(pc.dump())), inUse_(*machine_), locale_(tkit5::Locale::forLanguage("en")),
      session_(tkit5::SessionSetup{.reporter = reporter, .console = console_, .locale = locale_, .user = {}}) {
    nuv::setLogPriority(logPriority);
    kernel::beginRun();
}

DirectCall::~DirectCall() {
    nuv::setLogPriority(5);
}

nuv::FileHandleResManager DirectCall::openHub(std::string const & symbolicName) {
    nuv::CreateFileOpenArgs args;
    args.fileName = "\\\\?\\" + nuv::String(symbolicName);
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    return nuv::FileHandleResManager(args);
}

nuv::FileHandleResManager DirectCall::openRootHub() {
    return openHub(std::string("USB#ROOT_HUB30#") + controllerName);
}

} // namespace test
