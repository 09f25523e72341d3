#include "SourceUnit.h"

namespace nuvrusb {

constinit SourceUnit nuvrusbUnit{"nuvrusb", "modules/src/windows/diag/nuvrusb/nuvrusb.cpp"};

nuv::Logger * SourceUnit::logger() {
    return logger_ != nullptr ? logger_ : nuv::LogFactory::createLogger(loggerName_, logger_);
}

nuv::Logger * SourceUnit::traceLogger() {
    if (nuv::LogFactory::getPriority() >= 2) {
        return nullptr;
    }
    nuv::Logger * const own = logger();
    return own->level() > 1 ? nullptr : own;
}

nuv::Logger * SourceUnit::messageLogger(int priority) {
    if (nuv::LogFactory::getPriority() > priority) {
        return nullptr;
    }
    nuv::Logger * const own = logger();
    return own->level() > priority || own->resolvePriority() > priority ? nullptr : own;
}

} // namespace nuvrusb
