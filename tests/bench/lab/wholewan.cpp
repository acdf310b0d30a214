// The daemon with the real tools, against FireQOS, which does the same by starting tc; and against the end
// state as one batch of tc and one of nft, which nothing that follows single lines can reach.
#include "../report.h"
#include "benches.h"
#include "daemon.h"
#include "gateway.h"

#include <functional>

namespace bench {

namespace {

constexpr std::size_t roundsOfEach = 9;
const std::string data = BENCH_SOURCE_FOLDER "/tests/bench/lab/";

struct Times {
    std::vector<double> up, down; // ms
};

// A daemon comes, the WAN comes and goes, the daemon goes.
void round(LabDaemon& daemon, const std::string& tools, Times& times) {
    daemon.start(tools, e2e::Milliseconds(500));
    times.up.push_back(daemon.up());
    times.down.push_back(daemon.down());
    daemon.stop();
}

// One program after the other.
double runAll(const std::vector<std::string>& lines) {
    Clock::duration all{};
    for (const std::string& line : lines) {
        all += run(line);
    }
    return milliseconds(all);
}

} // namespace

int wholeWan(const std::string& folder) {
    const LabGateway gateway;
    LabDaemon daemon("dsl-tripleplay");
    const std::string ours = installTools(BENCH_PROGRAM_FOLDER "/qcfg", folder);
    const std::string idle = installTools(BENCH_NOTHING, folder); // a static program that does nothing
    Times real, fireqos, batch, floor;
    const std::vector<std::function<void()>> contestants = {
        [&] { round(daemon, ours, real); },
        [&] {
            fireqos.up.push_back(runAll({"fireqos start " + data + "fireqos.conf"}));
            fireqos.down.push_back(runAll({"fireqos stop"}));
        },
        [&] {
            batch.up.push_back(
                runAll({"tc -batch " + data + "endstate.tc", "nft -f " + data + "endstate.nft"}));
            batch.down.push_back(runAll(
                {"tc qdisc del dev ptm0 root", "tc qdisc del dev br0 root", "nft delete table inet bench"}));
        },
        [&] { round(daemon, idle, floor); },
    };
    // Each comes first equally often.
    for (std::size_t turn = 0; turn < roundsOfEach * contestants.size(); ++turn) {
        contestants[(turn + turn / contestants.size()) % contestants.size()]();
    }

    Report report(folder, "whole-wan");
    const auto put = [&](const std::string& who, const Times& times, const std::string& note) {
        report.add({"WAN up, " + who, median(times.up), "ms", {}, note});
        report.add({"WAN down, " + who, median(times.down), "ms"});
        report.details()[who] = {{"upMs", times.up}, {"downMs", times.down}};
    };
    put("daemon and tools", real, "");
    put("FireQOS", fireqos, "");
    put("one tc -batch and one nft -f", batch, "");
    put("daemon, and tools that do nothing", floor, "shells and greps alone");
    report.add({"up, against FireQOS start", median(real.up) / median(fireqos.up), "", 0.3});
    report.add({"down, against FireQOS stop", median(real.down) / median(fireqos.down), "", 1.0});
    report.add({"up, against the batches", median(real.up) / median(batch.up), "", {}, "for the record"});
    report.add({"up with tools that do nothing, against FireQOS start",
                median(floor.up) / median(fireqos.up),
                "",
                {},
                "no tool can be better"});
    return report.finish();
}

} // namespace bench
