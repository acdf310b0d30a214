// Exact undo: what the gateway's kernel has before and after, compared byte for byte.
#include "../report.h"
#include "benches.h"
#include "daemon.h"
#include "fapi/command.h"
#include "gateway.h"

#include <stdexcept>

namespace bench {

namespace {

constexpr int flaps = 100;
constexpr int comparing = 10; // every tenth round
constexpr int kills = 10;     // on the way up, and as many on the way down
constexpr int killStep = 5;   // every fifth entry into or return from a system call

struct Compared {
    int states = 0;
    int others = 0; // that were not as the first one

    void take(const std::string& before) {
        ++states;
        others += outputOf("lab state") == before ? 0 : 1;
    }
};

void report(Report& report, const std::string& what, const Compared& compared) {
    report.add({"states that differ, " + what, static_cast<double>(compared.others), "", 0,
                "of " + std::to_string(compared.states)});
}

void manyRounds(Report& figures, const std::string& example) {
    const LabGateway gateway(example);
    LabDaemon daemon(example);
    const std::string before = outputOf("lab state");
    Compared compared;
    daemon.start(BENCH_PROGRAM_FOLDER);
    for (int round = 0; round < flaps; ++round) {
        daemon.up();
        if (round == 0 && outputOf("lab state") == before) {
            throw std::runtime_error("WAN up changes nothing that is compared");
        }
        daemon.down();
        if (round % comparing == comparing - 1) {
            compared.take(before);
        }
    }
    daemon.up();
    daemon.stop();
    compared.take(before);
    report(figures, std::to_string(flaps) + " ups and downs, " + example, compared);
}

// At moments that lie evenly between the first command and the last.
void daemonKilled(Report& figures) {
    const LabGateway gateway;
    LabDaemon daemon("dsl-tripleplay");
    const std::string before = outputOf("lab state");
    Compared compared;
    daemon.start(BENCH_PROGRAM_FOLDER);
    const double upTime = daemon.up();
    const double downTime = daemon.down();
    daemon.stop();
    for (int i = 0; i < 2 * kills; ++i) {
        const bool onTheWayUp = i % 2 == 0;
        daemon.setInternet(!onTheWayUp);
        daemon.start(BENCH_PROGRAM_FOLDER);
        daemon.setInternet(onTheWayUp);
        const double part = static_cast<double>(i / 2) / kills;
        e2e::pause(e2e::Milliseconds(static_cast<int>(part * (onTheWayUp ? upTime : downTime))));
        daemon.kill();
        daemon.setInternet(true);
        daemon.start(BENCH_PROGRAM_FOLDER);
        daemon.stop();
        compared.take(before);
    }
    report(figures, "daemon killed on its way up or down", compared);
}

using fapi::test::command;

// The line is run again, as a modification where its object is there already.
void again(const std::string& line) {
    if (command(line).status != 0) {
        std::string modification = line;
        modification.replace(modification.find(" -A "), 4, " -M ");
        run(modification);
    }
}

void toolKilled(Report& figures) {
    const LabGateway gateway;
    const std::string before = outputOf("lab state");
    const std::string queue = "qcfg --queue -A q -i ppp0 -t egress -l 64 -m wfq --weight 10 -d tail --map 1";
    const std::string rule =
        "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";
    const std::string noQueue = "qcfg --queue -D q -i ppp0 -t egress";
    const std::string noRule = "classcfg -D r -i br0";
    Compared compared;
    for (const std::string& victim : {queue, rule, noRule, noQueue}) {
        bool killed = true;
        for (int n = 1; killed; n += killStep) {
            if (victim == noRule || victim == noQueue) {
                run(queue);
                run(rule);
            }
            killed = fapi::test::killedAtSystemCall(victim, n);
            again(queue);
            again(rule);
            run(noRule);
            run(noQueue);
            compared.take(before);
        }
    }
    report(figures, "tool killed at a system call", compared);
}

} // namespace

int undo(const std::string& folder) {
    Report figures(folder, "undo");
    for (const char* example : {"dsl-tripleplay", "ethernet-wan", "minimal"}) {
        manyRounds(figures, example);
    }
    daemonKilled(figures);
    toolKilled(figures);
    return figures.finish();
}

} // namespace bench
