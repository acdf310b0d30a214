// pacerctl's answer to "does this rule match this packet?" against the one that runs in the kernel.
#include "../../../fapi/bpf/match.h"
#include "gateways.h"
#include "options.h"
#include "pacerctl/explain.h"
#include "pacerctl/match.h"
#include "pacerctl/plan.h"
#include "ruletext.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <sstream>

namespace pacerctl {

namespace {

fapi_rule ruleOf(const std::string& command) {
    std::istringstream words(command.substr(command.find(' ') + 1));
    return fapi::readRule(fapi::ruleOptions({std::istream_iterator<std::string>(words), {}}));
}

fapi_facts factsOf(const Packet& packet) {
    fapi_facts facts{};
    std::memcpy(facts.src, packet.source->bytes.data(), sizeof facts.src);
    std::memcpy(facts.dst, packet.destination->bytes.data(), sizeof facts.dst);
    facts.family = packet.v6 ? 6 : 4;
    facts.protocol = packet.protocol == "tcp"    ? 6
                     : packet.protocol == "udp"  ? 17
                     : packet.protocol == "igmp" ? 2
                                                 : 1;
    facts.dscp = static_cast<__u8>(packet.dscp);
    facts.has_ports = packet.ports.has_value();
    if (packet.ports) {
        facts.sport = static_cast<__u16>(*packet.ports->source);
        facts.dport = static_cast<__u16>(*packet.ports->destination);
    }
    facts.pure_ack = packet.pureAck;
    return facts;
}

// Values at and beside the limits of the criteria below and in the examples.
class PacketMaker {
  public:
    Packet make() {
        static const char* addresses[] = {"192.168.1.20", "192.168.1.63", "192.168.1.64", "192.168.1.79",
                                          "192.168.1.80", "10.0.0.1",     "232.1.2.3",    "198.51.100.7"};
        static const char* addresses6[] = {"2001:db8::1", "2001:db8:1::1", "fd00::2", "ff02::1"};
        static const char* protocols[] = {"tcp", "udp", "igmp", "icmp"};
        static const unsigned ports[] = {0,     22,    53,    80,    443,   554,   3477,
                                         3478,  3481,  3482,  4500,  5060,  5061,  5062,
                                         16383, 16384, 16482, 16483, 27000, 27050, 65535};
        static const unsigned dscps[] = {0, 8, 45, 46, 63};
        Packet packet;
        packet.v6 = number(3) == 0;
        packet.source = parseAddress(packet.v6 ? pick(addresses6) : pick(addresses));
        packet.destination = parseAddress(packet.v6 ? pick(addresses6) : pick(addresses));
        packet.protocol = pick(protocols);
        if ((packet.protocol == "tcp" || packet.protocol == "udp") && number(10) != 0) {
            packet.ports = Ports{pick(ports), pick(ports)};
            packet.pureAck = packet.protocol == "tcp" && number(2) == 0;
        }
        packet.dscp = pick(dscps);
        return packet;
    }

  private:
    std::size_t number(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
    }
    template <typename T, std::size_t size>
    T pick(const T (&values)[size]) {
        return values[number(size)];
    }

    std::mt19937 random_{20240229};
};

// Rules of the examples and further ones, exclusions above all.
std::vector<Snapshot> gateways() {
    std::vector<Snapshot> all = {test::example("dsl-tripleplay"), test::example("ethernet-wan"),
                                 test::example("minimal")};
    nlohmann::ordered_json gateway = test::cleanGateway();
    auto& rules = gateway["QoSClassification"];
    int id = 100;
    for (const char* criteria :
         {R"({"Protocol": "tcp", "SourceIP": "192.168.1.64/28", "SourceIPExclude": 1})",
          R"({"Protocol": "udp", "DestIP": "2001:db8::/32"})",
          R"({"Protocol": "udp", "DestIP": "2001:db8::/32", "DestIPExclude": 1})",
          R"({"Protocol": "tcp", "DestPortRange": "443", "DestPortRangeExclude": 1})",
          R"({"Protocol": "tcp", "SourcePortRange": "0:79", "SourcePortRangeExclude": 1, "DSCPMatch": 46})",
          R"({"Protocol": "igmp", "DSCPMatch": 0})", R"({"Protocol": "igmp", "DestIP": "ff02::/16"})",
          R"({"Protocol": "tcp", "TCPACK": 1, "DestIP": "10.0.0.0/8", "DestPortRange": "22"})",
          R"({"Protocol": "udp", "SourceIP": "0.0.0.0/0", "DestPortRange": "0:65535"})"}) {
        auto rule = nlohmann::ordered_json::parse(criteria);
        rule["Id"] = ++id;
        rule["Name"] = "more_" + std::to_string(id);
        rule["Enable"] = 1;
        rule["ClassifyInterface"] = "LocalLAN";
        rule["QoSClassificationActionId"] = 2;
        rules.push_back(rule);
    }
    all.push_back(test::toSnapshot(gateway));
    return all;
}

TEST(WhyNoMatch, AgreesWithTheClassifierToolOnEveryRuleAndPacket) {
    int matched = 0;
    int tried = 0;
    for (const Snapshot& snapshot : gateways()) {
        std::vector<std::string> takenAsUp;
        const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
        const Gateway gateway(assumed);
        const Built built(gateway);
        const Plan plan = makePlan(assumed, {Assume::nothing, CheckMode::assumeAbsent});
        const std::vector<std::string>& commands = plan.apply.at(2).commands;
        ASSERT_EQ(commands.size(), built.rules.size());
        std::vector<fapi_rule> inKernel;
        std::transform(commands.begin(), commands.end(), std::back_inserter(inKernel), ruleOf);
        PacketMaker maker;
        for (int i = 0; i < 5000; ++i) {
            const Packet packet = maker.make();
            const fapi_facts facts = factsOf(packet);
            for (std::size_t rule = 0; rule < commands.size(); ++rule) {
                const bool expected = fapi_matches(&inKernel[rule], &facts) != 0;
                const std::string why = whyNoMatch(*built.rules[rule].rule, packet);
                ASSERT_EQ(why.empty(), expected) << commands[rule] << "\n" << packet.text() << "\n" << why;
                matched += expected ? 1 : 0;
                ++tried;
            }
        }
    }
    EXPECT_GT(matched, tried / 100); // the packets are such that it means something
}

} // namespace

} // namespace pacerctl
