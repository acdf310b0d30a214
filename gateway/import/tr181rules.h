// The classification of a TR-181 configuration.
#pragma once

#include "import/tr181queues.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace importers {

class Tr181Rules {
  public:
    Tr181Rules(Tr181Reader& reader, const Tr181Queues& queues, QosRows& rows)
        : reader_(reader), queues_(queues), rows_(rows) {}

    // Adds the rows of all rules in their order.
    void import();

  private:
    struct Rule {
        std::string name;
        Match match;
        std::vector<std::string> protocols;
        int dscpMark = 0;
        int pcpMark = 0;
    };

    void importRule(const Object& object);

    // Why the rule cannot be carried over; empty if it can.
    std::string readRule(const Object& object, Rule& rule);
    std::string readMatch(const Object& object, Rule& rule);
    std::string readProtocols(const Object& object, Rule& rule);
    std::string readForeignCriteria(const Object& object, Rule& rule);
    Criterion readAddress(const Object& object, const std::string& name);
    Criterion readPorts(const Object& object, const std::string& name);
    void readMarks(const Object& object, Rule& rule);
    int readMark(const Object& object, const std::string& name, int max);
    std::string readName(const Object& object);

    // Rows for one interface that packets come in from. Returns whether there are any.
    bool addRows(const Object& object, const Rule& rule, const std::string& from,
                 const std::vector<QueueTarget>& targets);
    // The daemon refuses two PCPs for one mark on one interface.
    int agreedPcp(const Object& object, int pcp, const QueueTarget& target);

    Tr181Reader& reader_;
    const Tr181Queues& queues_;
    QosRows& rows_;
    std::map<std::pair<std::string, int>, int> pcps_; // by Linux interface and mark
};

} // namespace importers
