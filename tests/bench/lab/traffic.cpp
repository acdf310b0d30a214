// What the tools' queues do to packets: rate, priority, shares. Counted where HTB counts, with Ethernet
// headers, as --pir is.
#include "../report.h"
#include "benches.h"
#include "fapi/command.h"
#include "gateway.h"
#include "meter/stream.h"
#include "meter/summary.h"
#include "port.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <numeric>
#include <thread>

namespace bench {

namespace {

constexpr auto settling = std::chrono::seconds(2); // until the queues are full
constexpr auto looking = std::chrono::seconds(1);  // at what waits
constexpr auto counting = std::chrono::seconds(10);
constexpr auto countingFew = std::chrono::seconds(30); // packets, of which one more or less would be seen
constexpr double frame = 1514;                         // bytes of a full packet with its Ethernet header
// Mbit/s. A load from the home network costs the machine several times as much as one of the gateway itself.
constexpr double highestForwarded = 20;
constexpr double highestAlways = 100; // that every machine must carry
constexpr int usualMtu = 1500;        // bytes
constexpr int jumboMtu = 9000;
constexpr int firstPort = 6001;
constexpr int callPort = 5060;

// Of the n-th queue that was added, if it stands behind the first seven precedences.
uint32_t queueClass(std::size_t n) {
    return fapi::tc::handleOf(fapi::restMajor, fapi::firstQueueMinor + static_cast<uint32_t>(n));
}

void configure(const std::vector<std::string>& lines) {
    run("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    for (const std::string& line : lines) {
        run(line);
    }
}

void shape(double mbit) {
    run("qcfg --port -A shape_wan -i ptm0 -s cb --pir " + std::to_string(std::lround(mbit * 1000)) +
        " -t egress");
}

// What classes send while time is counted.
struct Counted {
    std::vector<double> bytes;
    double seconds;
    bool saturated = true; // packets waited in each of them whenever somebody looked
};

Counted count(const std::vector<uint32_t>& classes, std::chrono::seconds time = counting) {
    Counted counted{std::vector<double>(classes.size()), 0};
    const auto look = [&](double sign) {
        for (std::size_t i = 0; i < classes.size(); ++i) {
            const fapi::tc::Counters now = LabGateway::sentBy(classes[i]);
            counted.bytes[i] += sign * static_cast<double>(now.bytes);
            counted.saturated = counted.saturated && now.backlogPackets > 0;
        }
    };
    std::this_thread::sleep_for(settling);
    const auto begin = Clock::now();
    look(-1);
    for (auto next = begin + looking; next < begin + time; next += looking) {
        std::this_thread::sleep_until(next);
        look(0);
    }
    std::this_thread::sleep_until(begin + time);
    const auto end = Clock::now();
    look(1);
    counted.seconds = seconds(end - begin);
    return counted;
}

constexpr const char* idle = "the load did not saturate it: this machine is too slow or too busy";
constexpr const char* anyQueue =
    "qcfg --queue -A all -i ppp0 -t egress -l 5000 -m sp --priority 8 -d tail --map 8";

double mbitOf(const Counted& counted) {
    return counted.bytes[0] * 8 / counted.seconds / 1e6;
}

// Other work that keeps the kernel from serving the port in time.
std::string othersWork() {
    double load = 0;
    const unsigned processors = std::thread::hardware_concurrency();
    if (getloadavg(&load, 1) != 1 || load <= processors) {
        return "";
    }
    return "busy: a load of " + std::to_string(std::lround(load)) + " on " + std::to_string(processors) +
           " processors";
}

void reportRate(Report& report, double mbit, int mtu = usualMtu) {
    const LabGateway gateway;
    LabGateway::setMtu(mtu);
    configure({anyQueue});
    shape(mbit);
    std::unique_ptr<Load> forwarded;
    std::unique_ptr<OwnLoad> own;
    if (mbit > highestForwarded) {
        own = std::make_unique<OwnLoad>(mtu);
    } else {
        forwarded = std::make_unique<Load>(firstPort, static_cast<int>(mbit + std::max(1.0, mbit / 4)));
    }
    const Counted counted = count({queueClass(0)}, mbit < 1 ? countingFew : counting);
    std::string name = mbit < 1 ? std::to_string(std::lround(mbit * 1000)) + " kbit/s"
                                : std::to_string(std::lround(mbit)) + " Mbit/s";
    if (mtu != usualMtu) {
        name += " in jumbo frames";
    }
    report.details()[name] = mbitOf(counted);
    // Not every machine carries the highest rates: what no load has filled says nothing about the shaper.
    const bool judged = counted.saturated || mbit <= highestAlways;
    report.add({"shaper of " + name + ": deviation of what was sent",
                std::abs(mbitOf(counted) / mbit - 1) * 100, "%", judged ? std::optional(1.0) : std::nullopt,
                counted.saturated ? othersWork()
                                  : std::to_string(std::lround(mbitOf(counted))) + " Mbit/s; " + idle});
}

// What a load brings through the port's queues when nothing limits it.
template <typename AnyLoad>
void reportCarried(Report& report, const std::string& who,
                   const std::function<std::unique_ptr<AnyLoad>()>& start) {
    const LabGateway gateway;
    configure({anyQueue});
    const std::unique_ptr<AnyLoad> load = start();
    report.add({"without a shaper, " + who, mbitOf(count({queueClass(0)})), "Mbit/s"});
}

// 1 Mbit/s in packets of 200 bytes for ten seconds.
lab::Summary call() {
    lab::StreamPlan plan;
    plan.from = "lan";
    plan.to = "internet";
    plan.destination = "198.51.100.10";
    plan.destinationPort = callPort;
    plan.duration = counting;
    const Load load(firstPort, 40);
    std::this_thread::sleep_for(settling);
    return lab::summarize(lab::runStream(plan).samples);
}

void reportCall(Report& report, const std::string& how, const lab::Summary& summary, bool targets) {
    constexpr double most = frame * 8 / 20e6 * 1000 + 0.5; // ms: a full packet's time, and half a millisecond
    const auto target = [&](double value) { return targets ? std::optional(value) : std::nullopt; };
    report.add({how + ": loss", summary.lossPercent(), "%", target(0)});
    report.add({how + ": one-way delay, median", static_cast<double>(summary.median) / 1e6, "ms"});
    report.add({how + ": one-way delay, 99 %", static_cast<double>(summary.p99) / 1e6, "ms", target(most)});
}

void reportShares(Report& report, const std::vector<int>& weights) {
    LabGateway gateway;
    std::vector<std::string> lines;
    std::vector<uint32_t> classes;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        const std::string mark = std::to_string(i + 1);
        lines.push_back("qcfg --queue -A w" + mark + " -i ppp0 -t egress -l 100 -m wfq --weight " +
                        std::to_string(weights[i]) + " -d tail --map " + mark);
        lines.push_back("classcfg -A m" + mark + " -i br0 -p udp --dport " +
                        std::to_string(firstPort + static_cast<int>(i)) + " -o ppp0 -j mark --mark " + mark +
                        " --mark-loc 1 --priority 1");
        classes.push_back(queueClass(i));
    }
    // The loads first: their generators could not agree on anything behind one that saturates the port.
    std::vector<std::unique_ptr<Load>> loads;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        loads.push_back(std::make_unique<Load>(firstPort + static_cast<int>(i), 25));
    }
    std::this_thread::sleep_for(settling);
    configure(lines);
    shape(20);
    const Counted counted = count(classes);
    const double all = std::accumulate(counted.bytes.begin(), counted.bytes.end(), 0.0);
    const double weight = std::accumulate(weights.begin(), weights.end(), 0);
    double worst = 0;
    std::string shares;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        worst = std::max(worst, std::abs(counted.bytes[i] / all / (weights[i] / weight) - 1));
        shares += (i == 0 ? "" : " : ") + std::to_string(std::lround(1000 * counted.bytes[i] / all));
    }
    report.add({std::to_string(weights.size()) + " saturating flows: worst share against its weight",
                worst * 100, "%", 3,
                shares + " per mille" + (counted.saturated ? othersWork() : std::string("; ") + idle)});
}

} // namespace

int shaping(const std::string& folder) {
    Report report(folder, "shaping");
    fapi::test::KernelLog log;
    for (const double mbit : {0.256, 1.0, 20.0, 100.0, 500.0, 1000.0}) {
        reportRate(report, mbit);
    }
    for (const double mbit : {500.0, 1000.0}) {
        reportRate(report, mbit, jumboMtu); // a sixth of the packets, for slower machines
    }
    int warnings = 0;
    for (const char* about : {"htb", "HTB", "qdisc", "quantum", "ptm0"}) {
        warnings += log.warnings(about);
    }
    report.add({"warnings in the kernel's log at all these rates", static_cast<double>(warnings), "", 0});
    reportCarried<Load>(report, "from the home network",
                        [] { return std::make_unique<Load>(firstPort, 2000); });
    reportCarried<OwnLoad>(report, "from the gateway itself",
                           [] { return std::make_unique<OwnLoad>(usualMtu); });
    return report.finish();
}

int priority(const std::string& folder) {
    Report report(folder, "priority");
    {
        const LabGateway gateway;
        outputOf("lab line 20000 off");
        reportCall(report, "a call beside bulk on 20 Mbit/s, no QoS", call(), false);
    }
    const LabGateway gateway;
    configure({"qcfg --queue -A calls -i ppp0 -t egress -l 100 -m sp --priority 1 -d tail --map 1",
               "qcfg --queue -A rest -i ppp0 -t egress -l 100 -m sp --priority 8 -d tail --map 8",
               "classcfg -A calls -i br0 -p udp --dport " + std::to_string(callPort) +
                   " -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1"});
    shape(20);
    reportCall(report, "the same with strict priority", call(), true);
    return report.finish();
}

int sharing(const std::string& folder) {
    Report report(folder, "sharing");
    reportShares(report, {75, 25});
    reportShares(report, {10, 20, 30, 40});
    return report.finish();
}

} // namespace bench
