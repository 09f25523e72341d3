#pragma once

namespace tkit5 {

// The verdict of a test or of a run. A default-constructed one is INTERNALERROR: a verdict that nobody gave.
class TestResult {
public:
    TestResult() : TestResult(INTERNALERROR()) {}

    static TestResult PASS();
    static TestResult FAIL();
    static TestResult WARN();
    static TestResult NODEVICE();
    static TestResult NOMEDIA();
    static TestResult BADPARAMS();
    static TestResult CANNOTRUN();
    static TestResult DEVICEBUSY();
    static TestResult USERABORTED();
    static TestResult INTERNALERROR();
    static TestResult MISCONFIGURED();
    static TestResult EXITEDABNORMALLY();

    int value() const { return code_; } // the code, which is also the exit code of a process that ends with it

    // Keeps the more serious of the two verdicts, and returns this one.
    TestResult & merge(TestResult const & other);

    friend bool operator==(TestResult const & a, TestResult const & b) = default;

private:
    explicit constexpr TestResult(int code) : code_(code) {}
    int code_;
};

} // namespace tkit5
