#include "nuv.h"
#include "nuv/LogSink.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

namespace nuv {

namespace {

constexpr int mostDetailed = 1;
constexpr int nothingIsLogged = 5;

std::atomic<int> globalPriority = nothingIsLogged;
std::atomic<LogSink *> sink = nullptr;

class RegisteredLogger final : public Logger {
public:
    explicit RegisteredLogger(std::string_view name) : name_(name) {}
    std::string const & registeredName() const { return name_; }

private:
    std::string name_;
};

struct Registry {
    std::mutex lock;
    std::map<std::string, std::unique_ptr<RegisteredLogger>, std::less<>> loggers;
    std::map<std::string, int, std::less<>> levels; // those that were set, whether or not the logger exists

    // Both with the lock held.
    int levelOf(std::string_view name) const {
        auto const found = levels.find(name);
        return found == levels.end() ? mostDetailed : found->second;
    }
    int resolved(std::string_view name) const {
        int highest = levelOf(name);
        for (std::size_t dot = name.rfind('.'); dot != std::string_view::npos; dot = name.rfind('.')) {
            name = name.substr(0, dot);
            highest = std::max(highest, levelOf(name));
        }
        return highest;
    }
};

// Never destroyed: the cached loggers stay usable in every destructor that runs at exit.
Registry & registry() {
    static Registry & instance = *new Registry;
    return instance;
}

std::string_view orEmpty(char const * name) {
    return name == nullptr ? std::string_view() : std::string_view(name);
}

std::string const & nameOf(Logger const & logger) {
    return static_cast<RegisteredLogger const &>(logger).registeredName(); // the factory makes no others
}

void traceScope(bool entered, Logger const * logger, char const * function, char const * sourceFile, int sourceLine) {
    LogSink * const receiver = sink;
    if (logger == nullptr || receiver == nullptr) {
        return;
    }
    try {
        receiver->scope(entered, logger->name(), function, sourceFile, sourceLine);
    } catch (...) {
        // A trace that cannot be written must not change what is traced.
    }
}

} // namespace

LogSink * setLogSink(LogSink * receiver) {
    return sink.exchange(receiver);
}

void setLogPriority(int priority) {
    globalPriority = priority;
}

void setLoggerLevel(char const * logger, int level) {
    Registry & all = registry();
    std::lock_guard const guard(all.lock);
    all.levels.insert_or_assign(std::string(orEmpty(logger)), level);
}

bool loggerExists(char const * logger) {
    Registry & all = registry();
    std::lock_guard const guard(all.lock);
    return all.loggers.contains(orEmpty(logger));
}

char const * Logger::name() const {
    return nameOf(*this).c_str();
}

int Logger::level() const {
    Registry & all = registry();
    std::lock_guard const guard(all.lock);
    return all.levelOf(nameOf(*this));
}

int Logger::resolvePriority() const {
    Registry & all = registry();
    std::lock_guard const guard(all.lock);
    return all.resolved(nameOf(*this));
}

void Logger::log(int priority, LoggerStream const & message) {
    LogSink * const receiver = sink;
    if (receiver == nullptr) {
        return;
    }
    try {
        receiver->message(priority, name(), message.text());
    } catch (...) {
        // A message that cannot be written must not change what is logged about.
    }
}

int LogFactory::getPriority() {
    return globalPriority;
}

Logger * LogFactory::createLogger(char const * name, Logger *& slot) {
    Registry & all = registry();
    std::lock_guard const guard(all.lock);
    auto found = all.loggers.find(orEmpty(name));
    if (found == all.loggers.end()) {
        auto logger = std::make_unique<RegisteredLogger>(orEmpty(name));
        found = all.loggers.emplace(logger->registeredName(), std::move(logger)).first;
    }
    slot = found->second.get();
    return slot;
}

TraceLogger::TraceLogger(Logger * logger, char const * function, char const * sourceFile, int sourceLine)
    : logger_(logger), function_(function), sourceFile_(sourceFile), sourceLine_(sourceLine) {
    traceScope(true, logger_, function_, sourceFile_, sourceLine_);
}

TraceLogger::~TraceLogger() {
    traceScope(false, logger_, function_, sourceFile_, sourceLine_);
}

} // namespace nuv
