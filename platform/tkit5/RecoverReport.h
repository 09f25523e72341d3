// What nuvrusb recover says of backups, as text or as JSON lines.
#pragma once

#include "JsonlLines.h"
#include "RecoverChoice.h"
#include "Recovery.h"
#include "terminal/Console.h"
#include "tkit5.h"

#include <string>

namespace tkit5 {

class RecoverReport {
public:
    RecoverReport(terminal::Console & console, bool isJsonl) : console_(console), lines_(console), isJsonl_(isJsonl) {}

    // What is owed in a folder: to any disk, or to those that were named.
    struct Scope {
        std::string folder;
        bool hasNamedDisks = false;
        bool isOneOfSeveral = false; // there are other folders that people are told of
    };
    void list(ChosenBackups const & chosen, Scope const & scope);

    void tell(OwedEntry const & entry, RecoveryOutcome const & outcome);

    // The last word. Gives the exit code.
    int end(TestResult result);

    // On the error stream. Gives the exit code.
    int refuse(std::string const & message, TestResult const & result);

    JsonlLines & lines() { return lines_; }
    void noteLoss() { isLost_ = true; }
    bool isLost() const { return isLost_ || lines_.lost(); } // nobody takes the output any more

private:
    void write(std::string const & text) { isLost_ = !console_.write(text) || isLost_; }

    terminal::Console & console_;
    JsonlLines lines_;
    bool const isJsonl_;
    bool isLost_ = false;
};

} // namespace tkit5
