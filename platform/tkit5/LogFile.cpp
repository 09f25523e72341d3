#include "LogFile.h"

#include "TextLayout.h"

namespace tkit5 {

// Each line is flushed: a log is read most eagerly after a program that did not end well.
void LogFileReporter::log(LogReport const & line) {
    file_ << "log " << line.priority << ' ' << line.logger << ' ' << printable(line.text) << std::endl;
}

void LogFileReporter::trace(TraceReport const & line) {
    file_ << "trace " << line.logger << (line.entered ? " enter " : " leave ") << line.function << ' '
          << line.sourceFile << ':' << line.sourceLine << std::endl;
}

} // namespace tkit5
