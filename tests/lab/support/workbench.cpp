#include "workbench.h"

namespace lab {

namespace {

struct Place {
    const char* interface;
    const char* port; // where the queues are built
    const char* service;
    uint32_t firstLength;
};

constexpr Place places[] = {
    {"eth1", "eth1", "ProviderInternet", internetQueue},
    {"eth1.20", "eth1", "ProviderVoIP", telephonyQueue},
    {"br0", "br0", "LocalLAN", homeQueue},
};

Json queue(int id, const char* service, uint32_t length, int precedence) {
    return {{"Id", id},
            {"Enable", 1},
            {"Name", std::string(service) + std::to_string(precedence)},
            {"InterfaceName", service},
            {"Egress", 1},
            {"TrafficClasses", std::to_string(precedence)},
            {"Precedence", precedence},
            {"Scheduler", "SP"},
            {"BufferLen", length},
            {"DropAlgorithm", "DT"}};
}

const char* portOf(const std::string& interface) {
    for (const Place& place : places) {
        if (interface == place.interface) {
            return place.port;
        }
    }
    throw std::invalid_argument("no queues on " + interface);
}

} // namespace

Json workbench() {
    Json gateway = Json::parse(R"({
  "NetworkSetupNode": [
    {"Id": 1, "Enable": 1, "Type": "WANoE", "InterfaceName": "eth1", "ParentInterface": "root"},
    {"Id": 2, "Enable": 1, "Type": "VLAN", "InterfaceName": "eth1.20", "ParentInterface": "eth1"},
    {"Id": 3, "Enable": 1, "Type": "Bridge", "InterfaceName": "br0", "ParentInterface": "root"},
    {"Id": 4, "Enable": 1, "Type": "Loopback", "InterfaceName": "lo", "ParentInterface": "root"}
  ],
  "StatusDsl": [{"Id": 1, "Status": 0, "StatusString": "No modem"}],
  "StatusNetifWatchLogical": [
    {"Id": 1, "Name": "LocalLoopback", "Interface": "lo", "IsUp": 1, "Addr": "127.0.0.1"},
    {"Id": 2, "Name": "LocalLAN", "Interface": "br0", "IsUp": 1, "Addr": "192.168.1.1"},
    {"Id": 3, "Name": "ProviderInternet", "Interface": "eth1", "IsUp": 0, "Addr": "0.0.0.0"},
    {"Id": 4, "Name": "ProviderVoIP", "Interface": "eth1.20", "IsUp": 0, "Addr": "0.0.0.0"}
  ],
  "QoSShaper": [{"Id": 1, "Enable": 1, "InterfaceName": "eth1", "ShapeEgress": 1, "ShapingRate": 100000}]
})");
    gateway["QoSQueues"] = Json::array();
    int id = 0;
    for (const Place& place : places) {
        for (const int precedence : {1, 2, 8}) {
            const uint32_t length = place.firstLength + static_cast<uint32_t>(precedence) - 1;
            gateway["QoSQueues"].push_back(queue(++id, place.service, length, precedence));
        }
    }
    return gateway;
}

void WorkbenchTest::SetUp() {
    buildGateway(workbench());
    // Everyone knows everyone's hardware address before packets are counted.
    shell("for peer in 198.51.100.10 2001:db8:7:1::10 10.9.1.10 2001:db8:9:1::10; do"
          " ip netns exec lan ping -qc 1 -W 2 $peer; ip netns exec gw ping -qc 1 -W 2 $peer; done");
    startDaemon();
}

void WorkbenchTest::bringUpWith(const Json& rule, const Json& action) {
    Json wholeAction = {
        {"Id", 1}, {"Name", "action"}, {"TrafficClass", 1}, {"QueueInterface", "ProviderInternet"}};
    wholeAction.update(action);
    Json wholeRule = {{"Id", 1},           {"Enable", 1},
                      {"Name", "rule"},    {"ClassifyInterface", "LocalLAN"},
                      {"Protocol", "udp"}, {"QoSClassificationActionId", 1}};
    wholeRule.update(rule);
    Json gateway = workbench();
    gateway["QoSClassification"] = Json::array({wholeRule});
    gateway["QoSClassificationAction"] = Json::array({wholeAction});
    bringUpGateway(gateway);
}

void WorkbenchTest::bringUpGateway(const Json& gateway) {
    configure(gateway);
    bringUp();
    expectNoErrors();
    remember();
}

void WorkbenchTest::remember() {
    before_.clear();
    for (const Place& place : places) {
        for (const uint32_t length : {place.firstLength, place.firstLength + 1, place.firstLength + 7}) {
            before_[length] = queueOfLength(place.port, length);
        }
    }
}

QueueCounts WorkbenchTest::countsOf(const std::string& interface, uint32_t firstLength, uint64_t awaited) {
    QueueCounts counts;
    e2e::eventually([&] {
        counts = countsSoFar(interface, firstLength);
        return counts.first.packets + counts.second.packets + counts.rest.packets >= awaited;
    });
    return counts;
}

QueueCounts WorkbenchTest::countsSoFar(const std::string& interface, uint32_t firstLength) {
    const auto since = [&](uint32_t length) {
        return queueOfLength(portOf(interface), length) - before_.at(length);
    };
    return {since(firstLength), since(firstLength + 1), since(firstLength + 7)};
}

} // namespace lab
