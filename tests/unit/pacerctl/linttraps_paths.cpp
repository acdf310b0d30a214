#include "linttraps.h"

namespace pacerctl::test {

std::vector<Trap> pathTraps() {
    return {
        {{"no-wan-port NetworkSetupNode/0/Type"},
         [](Json& g) { node(g, 0)["Enable"] = 0; },
         [](Json& g) { node(g, 0)["Enable"] = 2; }},
        {{"no-internet StatusNetifWatchLogical/0/Name", "queue-not-built QoSQueues/2/InterfaceName",
          "queue-not-built QoSQueues/3/InterfaceName", "rule-not-built QoSClassification/5/ClassifyInterface",
          "action-no-interface QoSClassificationAction/2/QueueInterface"},
         [](Json& g) { service(g, 0)["Name"] = "ProviderInternet "; },
         [](Json& g) { service(g, 0)["IsUp"] = 0; }},
        {{"no-dsl-row StatusDsl/0/"},
         [](Json& g) { g["StatusDsl"].clear(); },
         [](Json& g) { g["StatusDsl"][0]["Status"] = 0; }},
        {{"several-wan-ports NetworkSetupNode/9/Enable"},
         [](Json& g) { addNode(g, 9, 1, "WANoE", "eth4", "root"); },
         [](Json& g) { addNode(g, 9, 0, "WANoE", "eth4", "root"); }},
        {{"hidden-wan-port NetworkSetupNode/8/Type"},
         [](Json& g) {
             addNode(g, 7, 0, "MPoA", "nas0", "root");
             addNode(g, 8, 1, "MPoA", "nas1", "root");
         },
         [](Json& g) {
             addNode(g, 8, 0, "MPoA", "nas0", "root");
             addNode(g, 7, 1, "MPoA", "nas1", "root");
         }},
        {{"node-twice NetworkSetupNode/9/InterfaceName"},
         [](Json& g) { addNode(g, 9, 1, "VLAN", "ptm0.7", "root"); },
         [](Json& g) { addNode(g, 9, 1, "VLAN", "ptm0.70", "root"); }},
        {{"parent-missing StatusNetifWatchLogical/1/Interface"},
         [](Json& g) { node(g, 1)["ParentInterface"] = "ptm1"; },
         [](Json& g) { addNode(g, 9, 1, "VLAN", "spare", "ptm1"); }},
        {{"parent-cycle StatusNetifWatchLogical/1/Interface"},
         [](Json& g) { node(g, 1)["ParentInterface"] = "ppp0"; },
         [](Json& g) { node(g, 2)["ParentInterface"] = "ptm0.9"; }},
        {{"parent-cycle NetworkSetupNode/8/ParentInterface"}, // nothing runs over it yet
         [](Json& g) {
             addNode(g, 8, 1, "VLAN", "a", "b");
             addNode(g, 9, 1, "VLAN", "b", "a");
         },
         [](Json& g) {
             addNode(g, 8, 1, "VLAN", "a", "b");
             addNode(g, 9, 1, "VLAN", "b", "root");
         }},
        {{"other-port StatusNetifWatchLogical/2/Interface"},
         [](Json& g) { node(g, 3)["ParentInterface"] = "root"; },
         [](Json& g) { service(g, 1)["Interface"] = "off"; }},
        {{"atm-cuts-stack NetworkSetupNode/9/InterfaceName"},
         [](Json& g) { addNode(g, 9, 1, "VLAN", "fatmodem", "ptm0"); },
         [](Json& g) { addNode(g, 9, 1, "MPoA", "nas_atm0", "root"); }},
        {{"shared-provider-interface StatusNetifWatchLogical/9/Interface"},
         [](Json& g) { addService(g, 9, "ProviderIPTV", "ppp0"); },
         [](Json& g) {
             addService(g, 8, "ProviderIPTV", "off");
             addService(g, 9, "ProviderTR069", "off");
         }},
        {{"interface-on-two-paths StatusNetifWatchLogical/4/Interface"},
         [](Json& g) { service(g, 3)["Interface"] = "br0"; },
         [](Json& g) { service(g, 3)["Interface"] = "br00"; }},
        {{"interface-on-two-paths StatusNetifWatchLogical/3/Interface"}, // the second home network is built
                                                                         // on the first
         [](Json& g) { addService(g, 9, "LocalLAN", "br1"); },
         [](Json& g) { addService(g, 9, "ProviderIPTV", "off"); }},
        {{"local-off StatusNetifWatchLogical/3/Interface"},
         [](Json& g) { service(g, 2)["Interface"] = "off"; },
         [](Json& g) {
             service(g, 3)["Interface"] = "off";
             g["QoSClassification"].erase(0);
         }},
        {{"service-twice StatusNetifWatchLogical/9/Name"},
         [](Json& g) { addService(g, 9, "ProviderVoIP", "off"); },
         [](Json& g) { addService(g, 9, "ProviderIPTV", "off"); }},
    };
}

} // namespace pacerctl::test
