// The message box of a running test.
#pragma once

#include "Session.h"

namespace tkit5 {

// Belongs to the session that made it and does not outlive it.
class SessionMessageBox final : public MessageBox2 {
public:
    SessionMessageBox(Session & session, MessageBoxReport report) : session_(session), report_(std::move(report)) {}
    ~SessionMessageBox() override;

    bool display() override;
    bool wait(unsigned milliseconds) override; // shows the box first when nobody did
    int getReturn() const override { return static_cast<int>(answer_); }

private:
    Session & session_;
    MessageBoxReport report_;
    bool shown_ = false;
    MessageBox2_Return answer_ = MessageBox2_Return::None;
};

} // namespace tkit5
