#pragma once

#include "Value.h"

namespace tkit5 {

enum class MessageBox2_Types { Plain = 0 };
enum class MessageBox2_Options { OkCancel = 1, YesNo = 3 };
enum class MessageBox2_Looks { Question = 3 };

// Answers of a message box.
enum class MessageBox2_Return { None = 0, Ok = 1, Yes = 2, No = 3, Retry = 4, Cancel = 5, Abort = 6, NotShown = 7 };

// A question to the user. Its destruction takes it off the screen. Where nobody is left to answer (end of the input, a
// stop request), it answers itself with Cancel.
class MessageBox2 {
public:
    MessageBox2() = default;
    MessageBox2(MessageBox2 const &) = delete;
    MessageBox2 & operator=(MessageBox2 const &) = delete;
    virtual ~MessageBox2() = default;

    virtual bool display() = 0;                   // false when it cannot be shown
    virtual bool wait(unsigned milliseconds) = 0; // true when the user answered in that time; 0 waits without limit
    virtual int getReturn() const = 0;            // the answer, a MessageBox2_Return; None before there is one

    static TkitString toString(int answer); // the name of an answer, for logs
};

} // namespace tkit5
