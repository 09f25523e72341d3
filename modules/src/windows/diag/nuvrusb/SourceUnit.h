// How a source unit of the module logs and traces: its logger, made on first use, and the path that its reporting sites
// carry. A site's line is a stable number of the unit, known to the readers of logs and reports; it stays when the code
// moves.
#pragma once

#include "nuv.h"

#include <new>

namespace nuvrusb {

class SourceUnit {
public:
    constexpr SourceUnit(char const * loggerName, char const * sourceFile)
        : loggerName_(loggerName), sourceFile_(sourceFile) {}
    SourceUnit(SourceUnit const &) = delete;
    SourceUnit & operator=(SourceUnit const &) = delete;

    char const * sourceFile() const { return sourceFile_; }

    // The logger for a trace scope, null when scopes are silent. No logger is made while the global priority keeps
    // everything out.
    nuv::Logger * traceLogger();

    // Logs the line number, a blank and what `write` puts into the stream. The message is built only when somebody
    // reads messages of that priority. One that cannot be built is lost: what it is about must go on, a restore above
    // all.
    template <class Write> void log(int priority, int line, Write write) {
        try {
            if (nuv::Logger * const logger = messageLogger(priority)) {
                nuv::LoggerStream message;
                message << line << " ";
                write(message);
                logger->log(priority, message);
            }
        } catch (std::bad_alloc const &) {
            // Nothing that needs memory can tell of it.
        }
    }
    void log(int priority, int line, char const * text) {
        log(priority, line, [text](nuv::LoggerStream & message) { message << text; });
    }

private:
    nuv::Logger * logger();
    nuv::Logger * messageLogger(int priority); // null when messages of that priority are kept out

    char const * loggerName_;
    char const * sourceFile_;
    nuv::Logger * logger_ = nullptr;
};

// An operation in the trace, from here to the end of the scope.
class TraceScope {
public:
    TraceScope(SourceUnit & unit, char const * operation, int line)
        : scope_(unit.traceLogger(), operation, unit.sourceFile(), line) {}

private:
    nuv::TraceLogger scope_;
};

extern SourceUnit nuvrusbUnit; // entry, catalogue and the three test procedures

} // namespace nuvrusb
