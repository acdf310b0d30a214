#include "linttraps.h"

namespace pacerctl::test {

std::vector<Trap> ruleTraps() {
    return {
        {{"rule-disabled QoSClassification/4/Enable"},
         [](Json& g) { rule(g, 3)["Enable"] = 0; },
         [](Json& g) { // on no path: it has no command at all
             addRule(g, 9, "tv", 3);
             rule(g, 5)["ClassifyInterface"] = "ProviderIPTV";
             rule(g, 5)["Enable"] = 0;
         }},
        {{"rule-protocol QoSClassification/4/Protocol"},
         [](Json& g) { rule(g, 3)["Protocol"] = "UDP"; },
         [](Json& g) { rule(g, 3)["Protocol"] = "igmp"; }},
        {{"rule-ack-not-tcp QoSClassification/4/TCPACK"},
         [](Json& g) {
             rule(g, 3)["TCPACK"] = 1;
             rule(g, 3)["DSCPMatch"] = -1;
         },
         [](Json& g) { rule(g, 3)["TCPACK"] = 0; }},
        {{"rule-ack-with-more QoSClassification/2/TCPACK"},
         [](Json& g) { rule(g, 1)["DestPortRange"] = "443"; },
         [](Json& g) { rule(g, 1)["DSCPMatch"] = -1; }},
        {{"rule-dscp-exclude QoSClassification/4/DSCPMatchExclude"},
         [](Json& g) { rule(g, 3)["DSCPMatchExclude"] = 1; },
         [](Json& g) { rule(g, 2)["DSCPMatchExclude"] = 1; }}, // there is no DSCP to exclude
        {{"rule-dscp-text QoSClassification/4/DSCPMatch"},
         [](Json& g) { rule(g, 3)["DSCPMatch"] = "EF"; },
         [](Json& g) { rule(g, 3)["DSCPMatch"] = "46"; }},
        {{"rule-dscp-range QoSClassification/4/DSCPMatch"},
         [](Json& g) { rule(g, 3)["DSCPMatch"] = 64; },
         [](Json& g) { rule(g, 3)["DSCPMatch"] = -1; }},
        {{"rule-no-action QoSClassification/4/QoSClassificationActionId"},
         [](Json& g) { rule(g, 3)["QoSClassificationActionId"] = 77; },
         [](Json& g) { rule(g, 3)["QoSClassificationActionId"] = 1; }},
        {{"rule-not-built QoSClassification/9/ClassifyInterface"},
         [](Json& g) {
             addRule(g, 9, "tv", 3);
             rule(g, 5)["ClassifyInterface"] = "ProviderIPTV";
         },
         [](Json& g) {
             addRule(g, 9, "tv", 3);
             rule(g, 5)["ClassifyInterface"] = "ProviderVoIP";
         }},
        {{"rule-name-twice QoSClassification/9/Name"},
         [](Json& g) {
             addRule(g, 9, "ssh", 2);
             rule(g, 5)["DestPortRange"] = "23";
         },
         [](Json& g) {
             addRule(g, 9, "rtp", 2);
             rule(g, 5)["DestPortRange"] = "23";
         }},
        {{"rule-name-in-other QoSClassification/3/Name"},
         [](Json& g) {
             addRule(g, 9, "home-ssh", 2);
             rule(g, 5)["DestPortRange"] = "23";
         },
         [](Json& g) {
             addRule(g, 9, "home_ssh", 2);
             rule(g, 5)["DestPortRange"] = "23";
         }},
        {{"rule-name-in-other QoSClassification/3/Name"}, // a dot is any character for grep
         [](Json& g) {
             rule(g, 2)["Name"] = "s.h";
             addRule(g, 9, "ssh", 2);
             rule(g, 5)["DestPortRange"] = "23";
         },
         [](Json& g) {
             rule(g, 2)["Name"] = "s.h";
             addRule(g, 9, "sssh", 2);
             rule(g, 5)["DestPortRange"] = "23";
         }},
        {{"rule-after-wan-rule QoSClassification/9/ClassifyInterface",
          "interface-on-two-paths StatusNetifWatchLogical/4/Interface",
          "queue-unreached QoSQueues/1/Precedence", "action-unused QoSClassificationAction/1/Id"},
         [](Json& g) { // the gateway itself on the provider's interface
             service(g, 3)["Interface"] = "ppp0";
             addRule(g, 9, "late", 2);
             rule(g, 5)["ClassifyInterface"] = "LocalLoopback";
             g["QoSClassification"].erase(0);
         },
         [](Json& g) { service(g, 3)["Interface"] = "ppp0"; }},
    };
}

std::vector<Trap> matchTraps() {
    return {
        {{"rule-address QoSClassification/3/SourceIP"},
         [](Json& g) { rule(g, 2)["SourceIP"] = "192.168.1.0/33"; },
         [](Json& g) { rule(g, 2)["SourceIP"] = "2001:db8::/32"; }},
        {{"rule-ip-versions QoSClassification/3/SourceIP"},
         [](Json& g) { rule(g, 2)["DestIP"] = "2001:db8::1"; },
         [](Json& g) { rule(g, 2)["DestIP"] = "198.51.100.1"; }},
        {{"rule-ports QoSClassification/3/DestPortRange"},
         [](Json& g) { rule(g, 2)["DestPortRange"] = "23:22"; },
         [](Json& g) { rule(g, 2)["DestPortRange"] = "22:23"; }},
        {{"rule-ports QoSClassification/1/SourcePortRange"},
         [](Json& g) { rule(g, 0)["Protocol"] = "igmp"; },
         [](Json& g) { rule(g, 0)["Protocol"] = "tcp"; }},
        {{"rule-shadowed QoSClassification/9/"},
         [](Json& g) {
             addRule(g, 9, "behind", 2);
             rule(g, 5)["SourceIP"] = "192.168.1.7";
         },
         [](Json& g) {
             addRule(g, 9, "beside", 2);
             rule(g, 5)["SourceIP"] = "192.168.0.0/16";
         }},
        {{"rule-shadowed QoSClassification/9/"}, // not A lets through what lies outside of A
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "behind", 2);
             rule(g, 5)["SourceIP"] = "10.0.0.0/8";
             rule(g, 5)["SourceIPExclude"] = 0;
         },
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "beside", 2);
             rule(g, 5)["SourceIP"] = "192.168.1.128/25";
             rule(g, 5)["SourceIPExclude"] = 0;
         }},
        {{"rule-shadowed QoSClassification/9/"}, // not A speaks of its own IP version only
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "behind", 2);
             rule(g, 5)["SourceIP"] = "10.0.0.1";
             rule(g, 5)["SourceIPExclude"] = 0;
         },
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "beside", 2);
             rule(g, 5)["SourceIP"] = "2001:db8::1";
             rule(g, 5)["SourceIPExclude"] = 0;
         }},
        {{"rule-shadowed QoSClassification/9/"}, // not A lets through not B if B holds A
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "behind", 2);
             rule(g, 5)["SourceIP"] = "192.168.0.0/16";
         },
         [](Json& g) {
             rule(g, 2)["SourceIPExclude"] = 1;
             addRule(g, 9, "beside", 2);
             rule(g, 5)["SourceIP"] = "192.168.1.128/25";
         }},
        {{"rule-shadowed QoSClassification/9/"}, // an acknowledgement rule behind one for all of tcp
         [](Json& g) {
             rule(g, 1)["TCPACK"] = 0;
             rule(g, 2)["DestPortRange"] = "22";
             addRule(g, 9, "behind", 1);
             rule(g, 5)["TCPACK"] = 1;
             g["QoSClassification"].erase(2);
         },
         [](Json& g) { // the same two for different leaving interfaces
             rule(g, 1)["TCPACK"] = 0;
             addRule(g, 9, "beside", 1);
             rule(g, 5)["TCPACK"] = 1;
             rule(g, 5)["QoSClassificationActionId"] = 1;
             g["QoSClassification"].erase(2);
         }},
    };
}

} // namespace pacerctl::test
