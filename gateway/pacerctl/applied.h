// What is configured through the FAPI tools, with the kernel's counters: what `TOOL --show --json` says.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace pacerctl {

struct Counters {
    unsigned long long packets = 0;
    unsigned long long bytes = 0;
    unsigned long long drops = 0;
    unsigned long long backlogPackets = 0;
    unsigned long long backlogBytes = 0;
};

// Interface maps, shapers, queues and rules as a command line describes them. Equal fields: the same object.
struct AppliedIfMap {
    std::string interface;
    std::string base;
    std::string lowest;
    long long category = 0;
    std::optional<long long> group;
    long long uses = 1; // how often it was added
};

struct AppliedShaper {
    std::string name;
    std::string interface;
    std::string direction; // "egress", "ingress"
    long long rate = 0;    // kbit/s
    Counters counters;
};

struct AppliedQueue {
    std::string name;
    std::string interface;
    std::string port; // that its packets wait on; empty: not known
    std::string direction;
    std::string scheduler; // "sp", "wfq"
    long long value = 0;   // priority or weight
    long long length = 0;
    std::string drop;
    long long map = 0;
    Counters counters;
};

struct AppliedRule {
    std::string name;
    std::string interface;
    std::string protocol;
    std::string tcpFlags; // empty: none, here and below
    std::string destination;
    std::string source;
    std::string destinationPorts;
    std::string sourcePorts;
    std::optional<long long> dscp;
    std::string leaving;
    std::optional<long long> setDscp;
    std::optional<long long> setPcp;
    bool downstream = false;
    long long mark = 0;
    long long priority = 0;
    Counters counters; // packets and bytes
};

// What passes a port behind all queues.
struct AppliedRest {
    std::string port;
    std::string direction;
    Counters counters;
};

struct Applied {
    std::vector<AppliedIfMap> ifMaps;
    std::vector<AppliedShaper> shapers;
    std::vector<AppliedQueue> queues;
    std::vector<AppliedRule> rules; // in the order in which they are tried
    std::vector<AppliedRest> rests;

    const AppliedQueue* findQueue(const std::string& interface, const std::string& direction,
                                  const std::string& name) const;
    const AppliedShaper* findShaper(const std::string& interface, const std::string& direction) const;
    const AppliedRule* findRule(const std::string& interface, const std::string& name) const;
};

// A tool is missing, fails, hangs or talks nonsense; what() says which and how.
class ToolFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Runs the three tools, without a shell. Throws ToolFailure.
Applied readApplied();

// Adds what one tool's document says. Throws ToolFailure; `tool` is for its text.
void addDocument(const std::string& tool, const std::string& text, Applied& applied);

// Adds what a command line of the daemon creates. False if it is none of the known forms.
bool addCommand(const std::string& command, Applied& applied);

} // namespace pacerctl
