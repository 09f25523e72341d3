#include "Input.h"
#include "Output.h"
#include "StopEvents.h"
#include "terminal/Console.h"

#include <windows.h>

namespace terminal {

namespace {

// Has what is written to the console through the C library read as UTF-8, until the process ends: other programs in the
// same console find it as it was.
class ConsoleCodePage {
public:
    ConsoleCodePage() : before_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
    ConsoleCodePage(ConsoleCodePage const &) = delete;
    ConsoleCodePage & operator=(ConsoleCodePage const &) = delete;
    ~ConsoleCodePage() {
        if (before_ != 0) {
            SetConsoleOutputCP(before_);
        }
    }

private:
    UINT before_;
};

class StandardConsole final : public Console {
public:
    bool write(std::string_view text) override {
        if (!outputLost_ && !output_->write(text)) {
            outputLost_ = true;
            if (output_->isFile()) {
                writeError(textOfLostOutput);
            }
        }
        return !outputLost_;
    }
    void writeError(std::string_view text) override { errors_->write(text); }

    bool outputIsTerminal() const override { return output_->isConsole(); }
    bool inputIsTerminal() const override { return input_->isConsole(); }
    unsigned width() const override { return output_->width(); }

    bool stopRequested() const override { return WaitForSingleObject(stopRequests().stop, 0) == WAIT_OBJECT_0; }

    Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) override {
        return input_->readLine(line, limit);
    }

private:
    std::unique_ptr<Output> output_ = openOutput(GetStdHandle(STD_OUTPUT_HANDLE), stopRequests());
    std::unique_ptr<Output> errors_ = openOutput(GetStdHandle(STD_ERROR_HANDLE), stopRequests());
    std::unique_ptr<terminal::Input> input_ = openInput(GetStdHandle(STD_INPUT_HANDLE), stopRequests().stop);
    bool outputLost_ = false;
};

} // namespace

std::unique_ptr<Console> openStandardConsole() {
    static ConsoleCodePage const codePage;
    return std::make_unique<StandardConsole>();
}

} // namespace terminal
