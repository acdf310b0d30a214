// Turns stop signals into something that poll(2) sees.
#pragma once

namespace basalt::net {

// A signal that arrives between the test of a stop flag and the wait would be noticed only when the wait
// ends. Blocking the signals outside the wait would close that gap, but the commands that the daemon starts
// would inherit the mask. So the handlers that the program has installed for SIGINT, SIGTERM and SIGQUIT are
// chained: ours calls the program's own and then writes to an eventfd, which stays readable until the next
// wait.
class StopSignals {
  public:
    StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    // The last one gives the program its handlers back.
    ~StopSignals();

    // Chains what the program has installed since the last call. Signals that are ignored or left to their
    // default action stay as they are.
    void arm();

    // Readable from the arrival of a stop signal until drain().
    int descriptor() const { return descriptor_; }
    void drain();

  private:
    int descriptor_;
};

} // namespace basalt::net
