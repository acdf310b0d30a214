// A snapshot's rows with their columns by name and type, read as the daemon reads them.
#pragma once

#include "pacerctl/snapshot.h"

#include <optional>
#include <string>
#include <vector>

namespace pacerctl {

struct Node {
    long long id = 0;
    long long enable = 0;
    std::string interface;
    std::string parent;
    std::string type;
};

// A logical interface: "ProviderVoIP", "LocalLAN", ...
struct Service {
    long long id = 0;
    std::string name;
    std::string interface;
    long long isUp = 0;
    std::string address;

    bool isProvider() const;
    bool isOff() const { return interface == "off"; }
    // Whether the daemon builds a WAN path for it.
    bool isUpForPath() const { return isUp != 0 && address != "0.0.0.0"; }
};

struct DslLine {
    long long id = 0;
    long long status = 0;
    std::string statusText;
};

struct Shaper {
    long long id = 0;
    long long enable = 0;
    std::string interface;
    long long egress = 0;
    long long ingress = 0;
    long long rate = 0; // kbit/s
};

struct Queue {
    long long id = 0;
    long long enable = 0;
    std::string name;
    std::string service;
    long long ingress = 0;
    long long egress = 0;
    std::string trafficClassText;
    std::vector<long long> trafficClasses;
    bool trafficClassesCut = false; // something that is no number ends the list before its end
    long long length = 0;
    std::string scheduler;
    long long weight = 0;
    long long precedence = 0;
    std::string dropAlgorithm;

    bool isDefault() const { return precedence == 8; }
};

struct Action {
    long long id = 0;
    std::string name;
    long long dscp = 0;
    long long pcp = 0;
    long long trafficClass = 0;
    std::string queueService;

    bool marksDscp() const { return dscp >= 1 && dscp <= 63; }
    bool marksPcp() const { return pcp >= 1 && pcp <= 7; }
};

struct Criterion {
    std::string text;
    long long exclude = 0;

    bool empty() const { return text.empty(); }
};

struct Rule {
    long long id = 0;
    std::string name;
    long long enable = 0;
    long long actionId = 0;
    std::string service;
    Criterion destination;
    Criterion source;
    std::string protocol;
    Criterion destinationPort;
    Criterion sourcePort;
    long long tcpAck = 0;
    bool hasDscp = false;          // the row has a value in "DSCPMatch"
    bool dscpIsText = false;       // and it is stored as a text
    std::string dscpText;          // as stored
    std::optional<long long> dscp; // to match; nothing: any, or it cannot be read
    long long dscpExclude = 0;

    // Whether the daemon makes a command of it.
    bool hasCommand() const;
};

struct Gateway {
    explicit Gateway(const Snapshot& snapshot);

    std::vector<Node> nodes;
    std::vector<DslLine> dslLines;
    std::vector<Service> services;
    std::vector<Shaper> shapers;
    std::vector<Queue> queues;
    std::vector<Action> actions;
    std::vector<Rule> rules;

    // The first row that matches, as the daemon finds it; nullptr if there is none.
    const Node* findNode(const std::string& interface) const;
    const Node* findNodeOfType(const std::string& type) const;
    const Service* findService(const std::string& name) const;
    const Action* findAction(long long id) const;

    // The node that the daemon takes as WAN port: the first enabled one of the preferred types.
    const Node* wanPort() const;

    // The Linux interface of a logical interface; empty if it has none.
    std::string interfaceOf(const std::string& service) const;
    // The logical interfaces on a Linux interface.
    std::vector<const Service*> servicesOn(const std::string& interface) const;
};

// The chain from an interface down to its root, followed as the daemon follows it.
struct Stack {
    enum class End {
        root,    // complete
        missing, // `culprit` has no node: the daemon ends
        cycle,   // it comes back to `culprit`: the daemon would follow it for ever
    };
    std::vector<std::string> interfaces; // upper first
    End end = End::root;
    std::string culprit;

    bool isComplete() const { return end == End::root; }
    std::string text() const; // "ppp0 <=> ptm0.7 <=> ptm0"
};

Stack findStack(const Gateway& gateway, const std::string& interface);

// A queue's name in the FAPI tool.
std::string fapiQueueName(const std::string& interface, long long precedence, bool ingress);

} // namespace pacerctl
