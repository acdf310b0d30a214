// The four QoS tables while they are being filled.
#pragma once

#include "import/imported.h"

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace importers {

// What the rows hold when a file says nothing about it.
inline constexpr int assumedBufferLen = 64; // packets
inline constexpr int defaultQueue = 8;      // the precedence that makes a queue its interface's default
inline constexpr int maxPrecedence = 15;
inline constexpr int maxWeight = 1000;
inline constexpr std::size_t maxQueueName = 64;

struct Queue {
    bool enable = true;
    std::string name;
    std::string interface; // logical
    bool ingress = false;  // else egress
    std::string trafficClasses;
    int bufferLen = assumedBufferLen;
    std::string scheduler = "SP";
    int weight = 0;
    int precedence = 0;
    std::string dropAlgorithm = "DT";
};

struct Action {
    std::string name;
    int dscpMark = 0; // 0: none
    int pcpMark = 0;  // 0: none
    int trafficClass = 0;
    std::string queueInterface; // logical
};

// An address or a port range; empty: any.
struct Criterion {
    std::string value;
    bool exclude = false;
};

struct Match {
    std::string protocol;
    Criterion destIp;
    Criterion sourceIp;
    Criterion destPort;
    Criterion sourcePort;
    bool tcpAck = false;
    std::optional<int> dscp;
};

// Rows get their Ids in the order in which they are added.
class QosRows {
  public:
    // Returns false, and adds nothing, if the port has an enabled one for that direction and this is the
    // second: they would undo each other.
    bool addShaper(bool enable, const std::string& port, bool ingress, long long kbits);
    void addQueue(const Queue& queue);

    // Equal actions, whatever their names, are one row. Returns its Id.
    int addAction(const Action& action);

    // A rule's name must be its own: if it is taken, a number is added.
    void addRule(const std::string& name, const std::string& interface, const Match& match, int actionId);

    gateway::GatewayFile file() const;

  private:
    gateway::FileTable shapers_{"QoSShaper", {}};
    gateway::FileTable queues_{"QoSQueues", {}};
    gateway::FileTable actions_{"QoSClassificationAction", {}};
    gateway::FileTable rules_{"QoSClassification", {}};
    std::set<std::pair<std::string, bool>> shaped_; // port, ingress
    std::map<std::string, int> actionIds_;
    std::set<std::string> ruleNames_;
};

} // namespace importers
