#include "../report.h"
#include "benches.h"
#include "gateway.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <stdexcept>

namespace bench {

namespace {

constexpr int rounds = 60;

// The same change by one of our tools and by one call of another tool, and the way back of each.
struct Pair {
    std::string what;
    std::string back;
    std::string ours;
    std::string oursBack;
    std::string other;
    std::function<std::string()> otherBack;
};

// "... # handle 7" from nft's listing: a rule is deleted by its number.
std::string nftHandle() {
    const std::string listing = outputOf("nft -a list chain ip bench post");
    const std::string sign = "# handle ";
    const std::size_t at = listing.find(sign, listing.find("dport 7777"));
    if (at == std::string::npos) {
        throw std::runtime_error("no rule in " + listing);
    }
    return listing.substr(at + sign.size(), listing.find('\n', at) - at - sign.size());
}

void compare(Report& report, const Pair& pair) {
    std::vector<double> ours, oursBack, other, otherBack;
    for (int round = 0; round < rounds; ++round) {
        const auto byUs = [&] {
            ours.push_back(milliseconds(run(pair.ours)));
            oursBack.push_back(milliseconds(run(pair.oursBack)));
        };
        const auto byOther = [&] {
            other.push_back(milliseconds(run(pair.other)));
            const std::string line = pair.otherBack();
            otherBack.push_back(milliseconds(run(line)));
        };
        // Whoever comes first may find a slower processor: take turns.
        if (round % 2 == 0) {
            byUs();
            byOther();
        } else {
            byOther();
            byUs();
        }
    }
    const auto put = [&](const std::string& what, const std::vector<double>& a, const std::vector<double>& b,
                         const std::string& than) {
        const std::string times =
            std::to_string(median(a)).substr(0, 5) + " : " + std::to_string(median(b)).substr(0, 5) + " ms";
        report.add({what + ", against one call of " + than, median(a) / median(b), "", 0.8, times});
        report.details()[what + " " + than] = {{"oursMs", a}, {"otherMs", b}};
    };
    const std::string than = pair.other.substr(0, pair.other.find(' '));
    put(pair.what, ours, other, than);
    put(pair.back, oursBack, otherBack, than);
}

std::string ruleLine(char operation, int number) {
    return std::string("classcfg -") + operation + " r" + std::to_string(number) + " -i br0 -p udp --dport " +
           std::to_string(1000 + number) + " -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";
}

std::string queueLine(char operation, int number) {
    return std::string("qcfg --queue -") + operation + " q" + std::to_string(number) +
           " -i ppp0 -t egress -l 64 -m wfq --weight 10 -d tail --map " + std::to_string(number);
}

double typical(const std::string& line, int times) {
    std::vector<double> found;
    for (int i = 0; i < times; ++i) {
        found.push_back(milliseconds(run(line)));
    }
    return median(found);
}

void lists(Report& report) {
    const LabGateway gateway;
    for (int i = 1; i <= 1000; ++i) {
        run(ruleLine('A', i));
    }
    report.add({"classcfg -Lall with 1,000 rules", typical("classcfg -Lall -ibr0", 50), "ms", 5});
    report.add({"classcfg --show --json with 1,000 rules", typical("classcfg --show --json", 50), "ms"});
}

} // namespace

int toolCost(const std::string& folder) {
    Report report(folder, "tool-cost");
    const std::string path = std::getenv("PATH");
    setenv("PATH", (installTools(BENCH_PROGRAM_FOLDER "/qcfg", folder) + ":" + path).c_str(), 1);
    {
        const LabGateway gateway;
        run("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
        for (int i = 1; i <= 8; ++i) {
            run(queueLine('A', i));
            run(ruleLine('A', i));
        }
        run("qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress");
        run("nft add table ip bench");
        run("nft add chain ip bench post { type filter hook postrouting priority mangle ; }");
        const std::string shaper = "qcfg --port -A shape_wan -i ptm0 -s cb -t egress --pir ";
        const std::string change =
            "tc class change dev ptm0 parent fa91: classid fa91:1 htb quantum 1522 rate ";
        compare(report, {"a queue comes", "a queue goes", queueLine('A', 99), queueLine('D', 99),
                         "tc class add dev ptm0 parent fa92: classid fa92:f00 htb rate 1gbit quantum 1522",
                         [] { return std::string("tc class del dev ptm0 classid fa92:f00"); }});
        compare(report, {"a shaper changes", "a shaper changes back", shaper + "30000", shaper + "20000",
                         change + "30mbit", [&] { return change + "20mbit"; }});
        compare(report, {"a rule comes", "a rule goes", ruleLine('A', 99), ruleLine('D', 99),
                         "nft add rule ip bench post oifname ppp0 udp dport 7777 meta mark set 1",
                         [] { return "nft delete rule ip bench post handle " + nftHandle(); }});
    }
    lists(report);
    setenv("PATH", path.c_str(), 1);
    return report.finish();
}

int growth(const std::string& folder) {
    Report report(folder, "growth");
    constexpr int calls = 15;
    for (const auto& [name, line] : {std::pair("rule", &ruleLine), std::pair("queue", &queueLine)}) {
        const LabGateway gateway;
        run("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
        std::vector<double> times;
        int there = 0;
        for (const int number : {10, 100, 1000}) {
            for (; there < number; ++there) {
                run(line('A', there + 1));
            }
            std::vector<double> found;
            for (int i = 0; i < calls; ++i) {
                const Clock::duration coming = run(line('A', 2000));
                found.push_back(milliseconds(coming + run(line('D', 2000))) / 2);
            }
            times.push_back(median(found));
            report.add({std::string("a ") + name + " comes or goes, beside " + std::to_string(number),
                        times.back(), "ms"});
        }
        report.add({"  grows with the power of, from 100 to 1,000", std::log10(times[2] / times[1]), "", 1});
    }
    return report.finish();
}

} // namespace bench
