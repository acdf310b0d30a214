// Packets that match and packets that narrowly do not, counted by the DSCP with which they arrive.
#include "../report.h"
#include "benches.h"
#include "gateway.h"
#include "meter/stream.h"

#include <vector>

namespace bench {

namespace {

struct Case {
    uint16_t port; // of the destination
    uint16_t sourcePort;
    int sent, wanted; // DSCP
};

constexpr const char* server4 = "198.51.100.10";
constexpr const char* server6 = "2001:db8:7:1::10";

void addRule(const std::string& name, const std::string& criteria, int dscp) {
    run("classcfg -A " + name + " -i br0 -p udp " + criteria + " -o ppp0 -j dscp --actdscp " +
        std::to_string(dscp) + " -j mark --mark 1 --mark-loc 1 --priority 1");
}

// In the order in which they are tried.
void addRules() {
    addRule("port", "--dport 5060", 46);
    addRule("ports", "--dport 5100:5109", 34);
    addRule("source", "--sport 7000", 26);
    addRule("other_source", "--dport 5300 --sport !7001:7002", 12);
    addRule("dscp", "--dport 5500 --iphdr-dscp 40", 48);
    addRule("server4", std::string("--dport 5200 -d ") + server4, 18);
    addRule("server6", std::string("--dport 5200 -d ") + server6 + "/127", 18);
    addRule("other_server4", std::string("--dport 5400 -d !") + server4, 8);
    addRule("other_server6", "--dport 5400 -d !2001:db8:7:1::/64", 8);
    addRule("other_home4", "--dport 5600 -s !192.168.1.11", 10);
    addRule("other_home6", "--dport 5600 -s !2001:db8:1::11", 10);
}

const std::vector<Case> cases = {
    {5060, 0, 0, 46},    {5059, 0, 0, 0},    {5061, 0, 5, 5},     {5100, 0, 0, 34},    {5109, 0, 0, 34},
    {5099, 0, 0, 0},     {5110, 0, 0, 0},    {9000, 7000, 0, 26}, {9000, 6999, 3, 3},  {9000, 7001, 0, 0},
    {5300, 7000, 0, 26}, {5300, 7001, 0, 0}, {5300, 7002, 1, 1},  {5300, 7003, 0, 12}, {5500, 0, 40, 48},
    {5500, 0, 41, 41},   {5501, 0, 40, 40},  {5200, 0, 0, 18},    {5201, 0, 0, 0},     {5400, 0, 0, 0},
    {5400, 0, 63, 63},   {5600, 0, 0, 10},
};

} // namespace

int classification(const std::string& folder) {
    const LabGateway gateway;
    addRules();
    Report report(folder, "classification");
    for (const char* server : {server4, server6}) {
        uint64_t sent = 0;
        uint64_t right = 0;
        for (const Case& one : cases) {
            lab::StreamPlan plan;
            plan.from = "lan";
            plan.to = "internet";
            plan.destination = server;
            plan.destinationPort = one.port;
            plan.sourcePort = one.sourcePort;
            plan.dscp = one.sent;
            plan.packetsPerSecond = 2000;
            plan.duration = std::chrono::duration<double>(0.05);
            const lab::StreamResult result = lab::runStream(plan);
            const auto found = result.dscps.find(one.wanted);
            sent += result.samples.size();
            right += found == result.dscps.end() ? 0 : found->second;
        }
        report.add(
            {std::string(server == server4 ? "IPv4" : "IPv6") + " packets that arrive with another DSCP",
             100.0 * static_cast<double>(sent - right) / static_cast<double>(sent), "%", 0,
             "of " + std::to_string(sent)});
    }
    return report.finish();
}

} // namespace bench
