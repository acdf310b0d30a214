// The queues of a TR-181 configuration.
#pragma once

#include "import/qosrows.h"
#include "import/tr181reader.h"

#include <set>
#include <string>
#include <vector>

namespace importers {

// Where packets of a traffic class go: the logical interface, and the mark that leads to the queue there.
struct QueueTarget {
    std::string interface;
    int mark = defaultQueue;
};

class Tr181Queues {
  public:
    // Adds a row for each queue and each interface that it is on.
    Tr181Queues(Tr181Reader& reader, QosRows& rows);

    // The queues that serve the class, at most one for each interface. -1: packets of no class, which go to
    // the default queue of each interface that has queues.
    std::vector<QueueTarget> serving(long long trafficClass) const;

  private:
    struct Placed {
        Object object;
        Queue queue;
        std::set<long long> trafficClasses;
        long long wantedPrecedence = 0;
        bool isDefault = false;
    };

    void readQueue(const Object& object);
    std::set<long long> readTrafficClasses(const Object& object);
    void readScheduling(const Object& object, Queue& queue);
    void readDropping(const Object& object, Queue& queue);
    void readLength(const Object& object, Queue& queue);
    void numberQueues(const std::string& carrier);
    void remarkChanges(const Placed& placed, const std::string& carrier);

    Tr181Reader& reader_;
    std::vector<Placed> queues_;
    long long defaultClass_ = -1;
    std::string defaultPath_;
};

} // namespace importers
