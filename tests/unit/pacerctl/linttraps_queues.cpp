#include "linttraps.h"

namespace pacerctl::test {

std::vector<Trap> queueTraps() {
    return {
        {{"queue-name-clash QoSQueues/9/Precedence"},
         [](Json& g) { addQueue(g, 9, 1); },
         [](Json& g) {
             addQueue(g, 9, 1);
             queue(g, 4)["Egress"] = 0;
             queue(g, 4)["Ingress"] = 1;
         }},
        {{"queue-scheduler QoSQueues/1/Scheduler"},
         [](Json& g) { queue(g, 0)["Scheduler"] = "sp"; },
         [](Json& g) {
             queue(g, 0)["Scheduler"] = "sp";
             queue(g, 0)["Enable"] = 0;
         }},
        {{"queue-drop-algorithm QoSQueues/1/DropAlgorithm"},
         [](Json& g) { queue(g, 0)["DropAlgorithm"] = "TAIL"; },
         [](Json& g) { queue(g, 0)["DropAlgorithm"] = "RED"; }},
        {{"queue-no-traffic-class QoSQueues/1/TrafficClasses"},
         [](Json& g) { queue(g, 0)["TrafficClasses"] = "x"; },
         [](Json& g) { queue(g, 0)["TrafficClasses"] = " 1"; }},
        {{"queue-traffic-classes-cut QoSQueues/1/TrafficClasses"},
         [](Json& g) { queue(g, 0)["TrafficClasses"] = "1;2"; },
         [](Json& g) { queue(g, 0)["TrafficClasses"] = "1, 2 3,"; }},
        {{"queue-own-mark QoSQueues/1/TrafficClasses"},
         [](Json& g) { queue(g, 0)["TrafficClasses"] = "2"; },
         [](Json& g) { queue(g, 0)["TrafficClasses"] = "2,1"; }},
        {{"queue-weight QoSQueues/3/WFQWeight"},
         [](Json& g) { queue(g, 2)["WFQWeight"] = 0; },
         [](Json& g) { queue(g, 1)["WFQWeight"] = 0; }},
        {{"queue-priority QoSQueues/2/Precedence"},
         [](Json& g) {
             queue(g, 1)["Precedence"] = 10;
             queue(g, 1)["TrafficClasses"] = "10";
             action(g, 1)["TrafficClass"] = 10;
         },
         [](Json& g) {
             queue(g, 1)["Precedence"] = 9;
             queue(g, 1)["TrafficClasses"] = "9";
             action(g, 1)["TrafficClass"] = 9;
         }},
        {{"queue-length QoSQueues/4/BufferLen"},
         [](Json& g) { queue(g, 3)["BufferLen"] = 100001; },
         [](Json& g) { queue(g, 3)["BufferLen"] = 100000; }},
        {{"queue-no-direction QoSQueues/4/Egress",
          "mark-without-queue QoSClassificationAction/3/TrafficClass"},
         [](Json& g) { queue(g, 3)["Egress"] = 0; },
         [](Json& g) {
             queue(g, 3)["Egress"] = 0;
             queue(g, 3)["Ingress"] = 1;
         }},
        {{"queue-not-built QoSQueues/9/InterfaceName"},
         [](Json& g) {
             addQueue(g, 9, 0);
             queue(g, 4)["InterfaceName"] = "ProviderIPTV";
         },
         [](Json& g) {
             addQueue(g, 9, 0);
             queue(g, 4)["InterfaceName"] = "ProviderIPTV";
             queue(g, 4)["Enable"] = 0;
         }},
        {{"queue-unreached QoSQueues/9/Precedence"},
         [](Json& g) {
             addQueue(g, 9, 1);
             queue(g, 4)["Precedence"] = 5;
             queue(g, 4)["TrafficClasses"] = "5";
         },
         [](Json& g) {
             addQueue(g, 9, 1);
             queue(g, 4)["Precedence"] = 5;
             queue(g, 4)["TrafficClasses"] = "5";
             queue(g, 4)["Enable"] = 0;
         }},
        {{"no-default-queue QoSQueues/2/Precedence"},
         [](Json& g) {
             queue(g, 2)["Precedence"] = 7;
             queue(g, 2)["TrafficClasses"] = "7";
             action(g, 0)["TrafficClass"] = 1;
             addRule(g, 9, "seven", 2);
             rule(g, 5)["DestPortRange"] = "23";
             Json seven = action(g, 1);
             seven["Id"] = 9;
             seven["TrafficClass"] = 7;
             g["QoSClassificationAction"].push_back(seven);
             rule(g, 5)["QoSClassificationActionId"] = 9;
         },
         nothing},
    };
}

std::vector<Trap> shaperTraps() {
    return {
        {{"shaper-not-on-port QoSShaper/9/InterfaceName"},
         [](Json& g) {
             addShaper(g, 9);
             shaper(g, 1)["InterfaceName"] = "ppp0";
         },
         [](Json& g) {
             addShaper(g, 9);
             shaper(g, 1)["InterfaceName"] = "ppp0";
             shaper(g, 1)["Enable"] = 0;
         }},
        {{"shaper-no-direction QoSShaper/9/ShapeEgress"},
         [](Json& g) {
             addShaper(g, 9);
             shaper(g, 1)["ShapeEgress"] = 0;
         },
         [](Json& g) {
             addShaper(g, 9);
             shaper(g, 1)["ShapeEgress"] = 0;
             shaper(g, 1)["ShapeIngress"] = 1;
         }},
        {{"shaper-rate QoSShaper/1/ShapingRate"},
         [](Json& g) { shaper(g, 0)["ShapingRate"] = 0; },
         [](Json& g) { shaper(g, 0)["ShapingRate"] = 1; }},
        {{"shaper-replaced QoSShaper/1/ShapingRate"},
         [](Json& g) { addShaper(g, 9); },
         [](Json& g) {
             addShaper(g, 9);
             shaper(g, 1)["ShapeEgress"] = 0;
             shaper(g, 1)["ShapeIngress"] = 1;
         }},
        {{"port-not-shaped QoSShaper/0/ShapeEgress"},
         [](Json& g) { shaper(g, 0)["Enable"] = 0; },
         [](Json& g) { shaper(g, 0)["ShapeIngress"] = 1; }},
        {{"port-not-shaped QoSShaper/0/ShapeIngress"},
         [](Json& g) { queue(g, 2)["Ingress"] = 1; },
         [](Json& g) { queue(g, 3)["Ingress"] = 1; }}, // br0 is no port
    };
}

} // namespace pacerctl::test
