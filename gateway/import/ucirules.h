// The rules of a qos-scripts configuration.
#pragma once

#include "import/qosrows.h"
#include "import/ucifile.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace importers {

// A WAN interface of the file, as the rules see it.
struct UciWan {
    std::string logical;
    bool hasDownload = false;         // there are queues for what comes in
    std::map<std::string, int> marks; // by class
};

using UciRemark = std::function<void(std::size_t line, const std::string& subject, Remark::Kind kind,
                                     const std::string& reason)>;

class UciRules {
  public:
    UciRules(std::vector<UciWan> wans, QosRows& rows, UciRemark remark, Faults& faults)
        : wans_(std::move(wans)), rows_(rows), remark_(std::move(remark)), faults_(faults) {}

    // In the order in which the file's own scripts let a packet meet them; here the first match wins.
    void import(std::vector<UciSection>& sections);

  private:
    struct Rule {
        std::string target;
        std::string direction; // "in", "out" or empty: both
        std::vector<std::string> protocols;
        std::vector<Match> matches; // any of them
    };

    void importRule(UciSection& section);

    // Why the rule cannot be carried over; empty if it can.
    std::string readRule(UciSection& section, Rule& rule);
    std::string readProtocols(UciSection& section, Rule& rule);
    std::string readPorts(UciSection& section, Rule& rule);
    std::string readRest(UciSection& section, Rule& rule);
    std::string readDirection(UciSection& section, Rule& rule);
    Criterion readHost(UciSection& section, const std::string& name);
    std::vector<Criterion> readPortList(UciSection& section, const std::string& name, std::string& obstacle);

    // Returns whether there are any.
    bool addRows(const std::string& name, const Rule& rule, const UciWan& wan);

    std::vector<UciWan> wans_;
    QosRows& rows_;
    UciRemark remark_;
    Faults& faults_;
};

} // namespace importers
