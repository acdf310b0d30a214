#include "import/tr181queues.h"

#include "import/precedences.h"
#include "import/words.h"

#include <algorithm>

namespace importers {

namespace {

constexpr long long packetBytes = 1500;
constexpr long long maxBufferLen = 65535;

using Kind = Remark::Kind;

} // namespace

Tr181Queues::Tr181Queues(Tr181Reader& reader, QosRows& rows) : reader_(reader) {
    const Object qos = {"Device.QoS.", 0, 0};
    defaultClass_ = reader_.number(qos, "DefaultTrafficClass", -1, anyNumber, -1);
    defaultPath_ = reader_.text(qos, "DefaultQueue");
    if (!defaultPath_.empty() && defaultPath_.back() != '.') {
        defaultPath_ += '.';
    }
    for (const Object& object : reader_.file().objects("Device.QoS.Queue.")) {
        readQueue(object);
    }
    std::set<std::string> carriers;
    for (const Placed& placed : queues_) {
        carriers.insert(reader_.interfaces().carrier(placed.queue.interface));
    }
    for (const std::string& carrier : carriers) {
        numberQueues(carrier);
    }
    for (const Placed& placed : queues_) {
        rows.addQueue(placed.queue);
    }
}

void Tr181Queues::readQueue(const Object& object) {
    Placed placed;
    placed.object = object;
    placed.queue.enable = reader_.enabled(object);
    placed.queue.name = reader_.text(object, "Alias").substr(0, maxQueueName);
    if (placed.queue.name.empty()) {
        placed.queue.name = "queue_" + std::to_string(object.instance);
    }
    placed.trafficClasses = readTrafficClasses(object);
    placed.wantedPrecedence = reader_.number(object, "Precedence", 1, anyNumber, 1);
    if (reader_.file().read(object.path + "Precedence") == nullptr) {
        reader_.remark(Kind::assumed, object, "Precedence 1, the first");
    }
    placed.isDefault = object.path == defaultPath_ || placed.trafficClasses.count(defaultClass_) != 0;
    readScheduling(object, placed.queue);
    readDropping(object, placed.queue);
    const std::vector<std::string> interfaces = reader_.logicals(object);
    if (interfaces.empty()) {
        reader_.leaveOut(object, "it names no interface");
        return;
    }
    readLength(object, placed.queue);
    for (const std::string& interface : interfaces) {
        if (interface != "LocalLoopback") { // nothing waits there
            placed.queue.interface = interface;
            queues_.push_back(placed);
        }
    }
}

std::set<long long> Tr181Queues::readTrafficClasses(const Object& object) {
    std::set<long long> classes;
    for (const std::string& word : split(reader_.text(object, "TrafficClasses"), ", ")) {
        const auto number = toNumber(word);
        if (number && *number >= 0) {
            classes.insert(*number);
        } else {
            reader_.faults().add(reader_.file().at(object.path + "TrafficClasses").line,
                                 object.path + "TrafficClasses: \"" + word +
                                     "\" is not allowed; allowed: numbers from 0, separated by commas");
        }
    }
    if (classes.empty()) {
        reader_.remark(Kind::assumed, object, "no rule leads to it, because it serves no TrafficClasses");
    }
    return classes;
}

void Tr181Queues::readScheduling(const Object& object, Queue& queue) {
    const std::string path = object.path + "SchedulerAlgorithm";
    const std::string scheduler = reader_.text(object, "SchedulerAlgorithm");
    queue.weight = static_cast<int>(reader_.number(object, "Weight", 0, maxWeight, 1));
    if (scheduler == "WFQ" || scheduler == "WRR") {
        queue.scheduler = "WFQ";
    } else if (!scheduler.empty() && scheduler != "SP") {
        reader_.faults().add(reader_.file().at(path).line,
                             path + ": \"" + scheduler + "\" is not allowed; allowed: SP, WFQ, WRR");
    }
    if (scheduler == "WRR") {
        reader_.remark(Kind::changed, path, "WFQ, with the same weight");
    }
}

void Tr181Queues::readDropping(const Object& object, Queue& queue) {
    const std::string path = object.path + "DropAlgorithm";
    const std::string algorithm = reader_.text(object, "DropAlgorithm");
    if (algorithm == "RED" || algorithm == "WRED" || algorithm == "BLUE") {
        queue.dropAlgorithm = "RED";
    } else if (!algorithm.empty() && algorithm != "DT") {
        reader_.faults().add(reader_.file().at(path).line,
                             path + ": \"" + algorithm + "\" is not allowed; allowed: DT, RED, WRED, BLUE");
    }
    if (algorithm == "WRED" || algorithm == "BLUE") {
        reader_.remark(Kind::changed, path, "RED, which is what there is of early dropping");
    }
}

void Tr181Queues::readLength(const Object& object, Queue& queue) {
    const long long bytes = reader_.number(object, "BufferLength", 0, anyNumber, 0);
    if (bytes == 0) {
        reader_.remark(Kind::assumed, object, "a length of " + std::to_string(assumedBufferLen) + " packets");
        return;
    }
    queue.bufferLen =
        static_cast<int>(std::clamp((bytes + packetBytes - 1) / packetBytes, 1LL, maxBufferLen));
    reader_.remark(Kind::changed, object.path + "BufferLength",
                   std::to_string(queue.bufferLen) + " packets, taken as " + std::to_string(packetBytes) +
                       " bytes each");
}

void Tr181Queues::numberQueues(const std::string& carrier) {
    std::vector<Placed*> ranked;
    for (Placed& placed : queues_) {
        if (reader_.interfaces().carrier(placed.queue.interface) == carrier) {
            ranked.push_back(&placed);
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const Placed* left, const Placed* right) {
        return left->wantedPrecedence < right->wantedPrecedence;
    });
    std::vector<WantedPrecedence> wanted;
    bool hasDefault = false;
    for (const Placed* placed : ranked) {
        wanted.push_back({placed->wantedPrecedence, placed->isDefault && !hasDefault});
        hasDefault = hasDefault || placed->isDefault;
    }
    const auto precedences = assignPrecedences(wanted);
    if (!precedences) {
        reader_.faults().add(ranked.back()->object.line,
                             ranked.back()->object.path + ": too many queues on " + carrier +
                                 "; allowed: 7 before and 7 behind the default queue");
        return;
    }
    for (std::size_t i = 0; i < ranked.size(); ++i) {
        ranked[i]->queue.precedence = precedences->at(i);
        ranked[i]->queue.trafficClasses = std::to_string(precedences->at(i));
        remarkChanges(*ranked[i], carrier);
    }
}

void Tr181Queues::remarkChanges(const Placed& placed, const std::string& carrier) {
    const std::string& path = placed.object.path;
    if (placed.queue.precedence != placed.wantedPrecedence) {
        reader_.remark(Kind::changed, placed.object,
                       "Precedence " + std::to_string(placed.queue.precedence) + " on " + carrier +
                           ": each queue of an interface has its own, and 8 is the default queue's");
    }
    const std::string trafficClasses = reader_.text(placed.object, "TrafficClasses");
    if (!trafficClasses.empty() && trafficClasses != placed.queue.trafficClasses) {
        reader_.remark(Kind::changed, path + "TrafficClasses",
                       placed.queue.trafficClasses + " on " + carrier +
                           ": a traffic class is the mark that leads to the queue, which is its precedence");
    }
}

std::vector<QueueTarget> Tr181Queues::serving(long long trafficClass) const {
    const long long wanted = trafficClass < 0 ? defaultClass_ : trafficClass;
    std::vector<QueueTarget> targets;
    std::set<std::string> interfaces;
    for (const Placed& placed : queues_) {
        const bool serves = wanted < 0 || placed.trafficClasses.count(wanted) != 0;
        if (serves && interfaces.insert(placed.queue.interface).second) {
            targets.push_back({placed.queue.interface, wanted < 0 ? defaultQueue : placed.queue.precedence});
        }
    }
    // A rule for LocalLAN is not limited to that way out, and the first match wins.
    std::stable_partition(targets.begin(), targets.end(),
                          [](const QueueTarget& target) { return target.interface != "LocalLAN"; });
    return targets;
}

} // namespace importers
