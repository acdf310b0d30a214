// Whole reports, byte for byte. After a wanted change run with PACERCTL_WRITE_GOLDEN=1 and read the
// difference.
#include "goldengateways.h"
#include "pacerctl/cli.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

namespace pacerctl {

namespace {

namespace fs = std::filesystem;

struct Case {
    std::string name; // of the golden file
    std::vector<std::string> arguments;
    int status = 0;
    std::string applied;                                          // the example that the tools have applied
    std::function<void(const test::GoldenGateways&)> change = {}; // of what the tools say
};

void PrintTo(const Case& each, std::ostream* out) {
    *out << each.name;
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

class Golden : public testing::TestWithParam<Case> {};

TEST_P(Golden, IsWrittenAsBefore) {
    const test::GoldenGateways gateways;
    gateways.apply(GetParam().applied);
    if (GetParam().change) {
        GetParam().change(gateways);
    }
    std::ostringstream out;
    std::ostringstream err;
    const int status = run(GetParam().arguments, out, err, false);
    EXPECT_EQ(status, GetParam().status);
    EXPECT_EQ(err.str(), "");
    const fs::path file =
        fs::path(PACERD_SOURCE_DIR "/tests/unit/pacerctl/golden") / (GetParam().name + ".txt");
    if (std::getenv("PACERCTL_WRITE_GOLDEN") != nullptr) {
        std::ofstream(file, std::ios::binary) << out.str();
        FAIL() << file << " written; read it";
    }
    EXPECT_EQ(out.str(), contentOf(file));
}

void addExamples(std::vector<Case>& all) {
    for (const std::string example : {"dsl-tripleplay", "ethernet-wan", "minimal"}) {
        const std::string down = example + ".json";
        const std::string up = example + "-up.json";
        all.push_back({"plan-" + example, {"plan", "--no-checks", "--all-up", "--file", down}, 0, ""});
        all.push_back({"plan-internet-" + example, {"plan", "--no-checks", "--file", down}, 0, ""});
        all.push_back(
            {"plan-json-" + example, {"plan", "--no-checks", "--all-up", "--json", "--file", down}, 0, ""});
        all.push_back({"lint-" + example, {"lint", "--file", down}, 0, ""});
        all.push_back({"lint-json-" + example, {"lint", "--json", "--file", down}, 0, ""});
        all.push_back({"status-down-" + example, {"status", "--file", down}, 0, ""});
        all.push_back({"status-up-" + example, {"status", "--file", up}, 0, example});
        all.push_back({"status-json-" + example, {"status", "--json", "--file", up}, 0, example});
        all.push_back({"verify-" + example, {"verify", "--file", up}, 0, example});
        all.push_back({"verify-leftovers-" + example, {"verify", "--file", down}, 1, example});
        all.push_back({"verify-json-" + example, {"verify", "--json", "--file", up}, 1, ""});
        all.push_back({"metrics-" + example, {"metrics", "--file", up}, 0, example});
        all.push_back({"metrics-json-" + example, {"metrics", "--json", "--file", up}, 0, example});
        all.push_back({"graph-" + example, {"graph", "--file", down}, 0, ""});
        all.push_back({"graph-json-" + example, {"graph", "--json", "--file", down}, 0, ""});
    }
}

void addExplanations(std::vector<Case>& all) {
    const std::vector<std::string> head = {"explain", "--file", "dsl-tripleplay.json", "--in"};
    const auto add = [&](const std::string& name, std::vector<std::string> rest) {
        rest.insert(rest.begin(), head.begin(), head.end());
        all.push_back({"explain-" + name, rest, 0, ""});
    };
    add("video-call", {"br0", "--src", "192.168.1.5", "--dst", "198.51.100.7", "--proto", "udp", "--sport",
                       "40000", "--dport", "3478"});
    add("speech",
        {"LocalLoopback", "--out", "ProviderVoIP", "--proto", "udp", "--sport", "16400", "--dport", "5004"});
    add("json-speech",
        {"lo", "--out", "ptm0.9", "--proto", "udp", "--sport", "16400", "--dport", "5004", "--json"});
    add("acknowledgement", {"br0", "--out", "ppp0", "--proto", "tcp", "--src", "2001:db8::5", "--sport", "1",
                            "--dport", "443", "--ack"});
    add("unknown-port", {"LocalLoopback", "--out", "ProviderVoIP", "--proto", "udp", "--sport", "5"});
    all.push_back(
        {"explain-incoming",
         {"explain", "--file", "ethernet-wan.json", "--in", "eth1", "--proto", "udp", "--sport", "3478"},
         0,
         ""});
    all.push_back({"explain-unmatched",
                   {"explain", "--file", "minimal.json", "--in", "LocalLAN", "--proto", "icmp"},
                   0,
                   ""});
}

std::vector<Case> cases() {
    std::vector<Case> all;
    addExamples(all);
    addExplanations(all);
    all.push_back({"lint-broken", {"lint", "--file", "broken.json"}, 1, ""});
    all.push_back({"lint-json-broken", {"lint", "--json", "--file", "broken.json"}, 1, ""});
    all.push_back({"plan-broken", {"plan", "--no-checks", "--file", "broken.json"}, 1, ""});
    all.push_back({"status-broken", {"status", "--file", "broken.json"}, 0, ""});
    all.push_back({"lint-list", {"lint", "--list"}, 0, ""});
    all.push_back(
        {"status-coloured", {"status", "--color", "always", "--file", "minimal-up.json"}, 0, "minimal"});
    all.push_back({"lint-coloured", {"lint", "--color", "always", "--file", "broken.json"}, 1, ""});
    all.push_back({"verify-drift",
                   {"verify", "--file", "ethernet-wan-up.json"},
                   1,
                   "ethernet-wan",
                   [](const test::GoldenGateways& gateways) {
                       gateways.replace("qcfg", "\"rate_kbit\": 47500", "\"rate_kbit\": 40000");
                       gateways.replace("qcfg", "eth1_q2", "eth1_q3");
                       gateways.replace("classcfg", "home_ssh", "home_dns2");
                       gateways.replace("classcfg", "\"destination_ports\": \"53\"",
                                        "\"destination_ports\": \"54\"");
                       gateways.replace("ifcfg", "\"uses\": 2", "\"uses\": 1");
                   }});
    for (const std::string command :
         {"plan", "lint", "explain", "status", "verify", "top", "metrics", "graph"}) {
        all.push_back({"help-" + command, {command, "--help"}, 0, ""});
    }
    all.push_back({"help", {"--help"}, 0, ""});
    return all;
}

std::string nameOfCase(const testing::TestParamInfo<Case>& info) {
    std::string name = info.param.name;
    for (char& each : name) {
        each = each == '-' ? '_' : each;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Reports, Golden, testing::ValuesIn(cases()), nameOfCase);

} // namespace

} // namespace pacerctl
