// Assertions: conditions without which an object must not come into being.
#pragma once

#include <stdexcept>
#include <string>

namespace zel::error {

// what() carries the failed expression and the place: `assertion failed: EXPRESSION (FILE:LINE)`.
class AssertionFailed : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

// what() names the object that is missing, and the place.
class AllocationFailed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Assert {
  public:
    [[noreturn]] static void throwAssertionFailed(const std::string& expression, const char* file, int line);
    [[noreturn]] static void throwAllocationFailed(const std::string& object, const char* file, int line);
};

// While one exists, assertion failures are also reported as they are thrown: to the system log if setSyslog
// is on, else to standard error.
class DefaultAssertHook {
  public:
    DefaultAssertHook();
    DefaultAssertHook(const DefaultAssertHook&) = delete;
    DefaultAssertHook& operator=(const DefaultAssertHook&) = delete;
    ~DefaultAssertHook();

    void setSyslog(bool on);
};

} // namespace zel::error
