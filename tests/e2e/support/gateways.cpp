#include "gateways.h"

#include <fstream>

namespace e2e {

std::string schemaFile() {
    return E2E_SOURCE_FOLDER "/share/gateway.ovsschema";
}

Json exampleGateway(const std::string& name) {
    std::ifstream file(E2E_SOURCE_FOLDER "/share/examples/" + name + ".json");
    return Json::parse(file);
}

std::string manualPage(const std::string& name) {
    return E2E_SOURCE_FOLDER "/docs/man/" + name;
}

std::string importFile(const std::string& name) {
    return E2E_SOURCE_FOLDER "/tests/unit/import/files/" + name;
}

Json smallGateway() {
    return Json::parse(R"({
  "NetworkSetupNode": [
    {"Id": 1, "Enable": 1, "Type": "XDSL", "InterfaceName": "ptm0", "ParentInterface": "root"},
    {"Id": 2, "Enable": 1, "Type": "VLAN", "InterfaceName": "ptm0.7", "ParentInterface": "ptm0"},
    {"Id": 3, "Enable": 1, "Type": "PPP", "InterfaceName": "ppp0", "ParentInterface": "ptm0.7"}
  ],
  "StatusDsl": [{"Id": 1, "Status": 4, "StatusString": "Showtime"}],
  "StatusNetifWatchLogical": [
    {"Id": 1, "Name": "LocalLoopback", "Interface": "lo", "IsUp": 1, "Addr": "127.0.0.1"},
    {"Id": 2, "Name": "LocalLAN", "Interface": "br0", "IsUp": 1, "Addr": "192.168.1.1"},
    {"Id": 3, "Name": "ProviderInternet", "Interface": "ppp0", "IsUp": 0, "Addr": "0.0.0.0"}
  ],
  "QoSShaper": [
    {"Id": 1, "Enable": 1, "InterfaceName": "ptm0", "ShapeEgress": 1, "ShapeIngress": 1, "ShapingRate": 20000}
  ],
  "QoSQueues": [
    {"Id": 1, "Enable": 1, "Name": "voice", "InterfaceName": "ProviderInternet", "Egress": 1, "Ingress": 1,
     "TrafficClasses": "1,2", "Precedence": 3, "Scheduler": "SP", "BufferLen": 64, "DropAlgorithm": "DT"},
    {"Id": 2, "Enable": 1, "Name": "rest", "InterfaceName": "ProviderInternet", "Egress": 1,
     "TrafficClasses": "8", "Precedence": 8, "Scheduler": "WFQ", "WFQWeight": 20, "BufferLen": 128,
     "DropAlgorithm": "RED"},
    {"Id": 3, "Enable": 1, "Name": "home", "InterfaceName": "LocalLAN", "Egress": 1,
     "TrafficClasses": "1", "Precedence": 1, "Scheduler": "SP", "BufferLen": 32, "DropAlgorithm": "DT"}
  ],
  "QoSClassificationAction": [
    {"Id": 1, "Name": "to_voice", "QueueInterface": "ProviderInternet", "TrafficClass": 1, "DSCPMark": 46,
     "EthPriorityMark": 6},
    {"Id": 2, "Name": "to_home", "QueueInterface": "LocalLAN", "TrafficClass": 1}
  ],
  "QoSClassification": [
    {"Id": 1, "Enable": 1, "Name": "phone", "ClassifyInterface": "LocalLAN", "Protocol": "udp",
     "SourceIP": "192.168.1.30", "DestPortRange": "5060:5061", "QoSClassificationActionId": 1},
    {"Id": 2, "Enable": 1, "Name": "calls", "ClassifyInterface": "ProviderInternet", "Protocol": "udp",
     "DSCPMatch": 46, "QoSClassificationActionId": 2}
  ]
})");
}

Json internetUp() {
    return {{"IsUp", 1}, {"Addr", "203.0.113.17"}};
}

Json internetDown() {
    return {{"IsUp", 0}, {"Addr", "0.0.0.0"}};
}

} // namespace e2e
