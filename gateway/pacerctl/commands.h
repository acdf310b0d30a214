// The subcommands. Each writes its report and returns the exit status.
#pragma once

#include "pacerctl/plan.h"
#include "pacerctl/report.h"
#include "pacerctl/snapshot.h"

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace pacerctl {

// The command line asks for what there is not; what() says what.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

ExitStatus planCommand(const Terminal& terminal, const Snapshot& snapshot, const PlanOptions& options);

ExitStatus lintCommand(const Terminal& terminal, const Snapshot& snapshot);
// The table of all checks.
ExitStatus listLintChecks(const Terminal& terminal);

struct ExplainOptions {
    std::string entering; // Linux or logical interface
    std::string leaving;  // empty: every way out
    std::string source;
    std::string destination;
    std::string protocol;
    std::optional<unsigned> sourcePort;
    std::optional<unsigned> destinationPort;
    std::string dscp = "0"; // or a name such as EF
    bool ack = false;
    std::string captureFile; // instead of the six above
    std::size_t captureNumber = 1;
};

ExitStatus statusCommand(const Terminal& terminal, const Snapshot& snapshot);

// Throws ToolFailure, and WrongUsage if the daemon could apply nothing.
ExitStatus verifyCommand(const Terminal& terminal, const Snapshot& snapshot);

// With an SVG file: writes that, by Graphviz. Throws WrongUsage if it is not there, and FileFailure.
ExitStatus graphCommand(const Terminal& terminal, const Snapshot& snapshot, const std::string& svgFile);

// With an output file: replaces that as a whole, for a collector that may read it at any time. Throws
// ToolFailure and FileFailure.
ExitStatus metricsCommand(const Terminal& terminal, const Snapshot& snapshot, const std::string& outputFile);

struct TopOptions {
    double interval = 2;  // seconds
    unsigned count = 0;   // how often to show; 0: until ended from outside
    bool refresh = false; // each time on an empty screen
};

class Clock {
  public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    virtual double now() = 0; // seconds since some moment
    virtual void sleep(double seconds) = 0;
};

class SystemClock final : public Clock {
  public:
    double now() override;
    void sleep(double seconds) override;
};

// Throws ToolFailure.
ExitStatus topCommand(const Terminal& terminal, const Snapshot& snapshot, const TopOptions& options,
                      Clock& clock);

// Every provider that has an interface counts as up. Throws WrongUsage and CaptureError.
ExitStatus explainCommand(const Terminal& terminal, const Snapshot& snapshot, const ExplainOptions& options);

} // namespace pacerctl
