#include "gateways.h"

namespace pacerctl::test {

nlohmann::ordered_json cleanGateway() {
    return nlohmann::ordered_json::parse(R"({
  "NetworkSetupNode": [
    {"Id": 1, "Enable": 1, "Type": "XDSL", "InterfaceName": "ptm0", "ParentInterface": "root"},
    {"Id": 2, "Enable": 1, "Type": "VLAN", "InterfaceName": "ptm0.7", "ParentInterface": "ptm0"},
    {"Id": 3, "Enable": 1, "Type": "PPP", "InterfaceName": "ppp0", "ParentInterface": "ptm0.7"},
    {"Id": 4, "Enable": 1, "Type": "VLAN", "InterfaceName": "ptm0.9", "ParentInterface": "ptm0"}
  ],
  "StatusDsl": [{"Id": 1, "Status": 4, "StatusString": "Showtime"}],
  "StatusNetifWatchLogical": [
    {"Id": 1, "Name": "ProviderInternet", "Interface": "ppp0", "IsUp": 1, "Addr": "203.0.113.17"},
    {"Id": 2, "Name": "ProviderVoIP", "Interface": "ptm0.9", "IsUp": 1, "Addr": "10.19.0.2"},
    {"Id": 3, "Name": "LocalLAN", "Interface": "br0", "IsUp": 1, "Addr": "192.168.1.1"},
    {"Id": 4, "Name": "LocalLoopback", "Interface": "lo", "IsUp": 1, "Addr": "127.0.0.1"}
  ],
  "QoSShaper": [{"Id": 1, "Enable": 1, "InterfaceName": "ptm0", "ShapeEgress": 1, "ShapingRate": 20000}],
  "QoSQueues": [
    {"Id": 1, "Enable": 1, "Name": "speech", "InterfaceName": "ProviderVoIP", "Egress": 1, "TrafficClasses": "1",
     "Precedence": 1, "Scheduler": "SP", "BufferLen": 32, "DropAlgorithm": "DT"},
    {"Id": 2, "Enable": 1, "Name": "fast", "InterfaceName": "ProviderInternet", "Egress": 1, "TrafficClasses": "4",
     "Precedence": 4, "Scheduler": "SP", "BufferLen": 64, "DropAlgorithm": "DT"},
    {"Id": 3, "Enable": 1, "Name": "rest", "InterfaceName": "ProviderInternet", "Egress": 1, "TrafficClasses": "8",
     "Precedence": 8, "Scheduler": "WFQ", "WFQWeight": 20, "BufferLen": 128, "DropAlgorithm": "RED"},
    {"Id": 4, "Enable": 1, "Name": "home", "InterfaceName": "LocalLAN", "Egress": 1, "TrafficClasses": "1,8",
     "Precedence": 8, "Scheduler": "SP", "BufferLen": 128, "DropAlgorithm": "DT"}
  ],
  "QoSClassificationAction": [
    {"Id": 1, "Name": "speech", "QueueInterface": "ProviderVoIP", "TrafficClass": 1, "DSCPMark": 46,
     "EthPriorityMark": 6},
    {"Id": 2, "Name": "fast", "QueueInterface": "ProviderInternet", "TrafficClass": 4},
    {"Id": 3, "Name": "home", "QueueInterface": "LocalLAN", "TrafficClass": 8}
  ],
  "QoSClassification": [
    {"Id": 1, "Enable": 1, "Name": "rtp", "ClassifyInterface": "LocalLoopback", "Protocol": "udp",
     "SourcePortRange": "16384:16482", "QoSClassificationActionId": 1},
    {"Id": 2, "Enable": 1, "Name": "acks", "ClassifyInterface": "LocalLAN", "Protocol": "tcp", "TCPACK": 1,
     "QoSClassificationActionId": 2},
    {"Id": 3, "Enable": 1, "Name": "ssh", "ClassifyInterface": "LocalLAN", "Protocol": "tcp",
     "SourceIP": "192.168.1.0/24", "DestPortRange": "22", "QoSClassificationActionId": 2},
    {"Id": 4, "Enable": 1, "Name": "marked", "ClassifyInterface": "LocalLAN", "Protocol": "udp", "DSCPMatch": 46,
     "QoSClassificationActionId": 2},
    {"Id": 5, "Enable": 1, "Name": "down", "ClassifyInterface": "ProviderInternet", "Protocol": "udp",
     "DestIP": "192.168.1.0/24", "QoSClassificationActionId": 3}
  ]
})");
}

Snapshot toSnapshot(const nlohmann::ordered_json& gateway) {
    return parseSnapshot("test.json", gateway.dump());
}

Snapshot example(const std::string& name) {
    return readSnapshotFile(PACERD_SOURCE_DIR "/share/examples/" + name + ".json");
}

} // namespace pacerctl::test
