// The daemon with the real tools, against FireQOS, which does the same by starting tc; and against the end
// state as one batch of tc and one of nft, which nothing that follows single lines can reach.
#include "../report.h"
#include "benches.h"
#include "database.h"
#include "gateway.h"
#include "gateways.h"
#include "ovsdbserver.h"
#include "syslogcapture.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t rounds = 9;
const std::string data = BENCH_SOURCE_FOLDER "/tests/bench/lab/";

struct Times {
    std::vector<double> up, down; // ms
};

// The line is up, and all services but the internet's are.
e2e::Json readyGateway() {
    e2e::Json gateway = e2e::exampleGateway("dsl-tripleplay");
    gateway["StatusDsl"][0]["Status"] = 4;
    for (e2e::Json& row : gateway["StatusNetifWatchLogical"]) {
        if (row["Name"] != "ProviderInternet") {
            row.update(e2e::internetUp());
        }
    }
    return gateway;
}

class Daemon {
  public:
    Daemon() {
        server_.start();
        database_.replaceAll(readyGateway());
    }

    // A daemon comes, the WAN comes and goes, the daemon goes. tools: their folder.
    void round(const std::string& tools, Times& times) {
        log_.clear();
        e2e::Process daemon({{"pacerd_ng", "-d", "0"},
                             {{"PATH", tools + ":" + std::getenv("PATH")}},
                             "/tmp/daemon.out",
                             "/tmp/daemon.err"});
        if (!log_.waitFor("info: initial startup in progress")) {
            throw std::runtime_error("the daemon does not start: " + e2e::readFile("/tmp/daemon.err"));
        }
        settle();
        times.up.push_back(change(e2e::internetUp(), "info: apply success: "));
        times.down.push_back(change(e2e::internetDown(), "info: remove success: "));
        daemon.signal(SIGTERM);
        daemon.wait();
    }

  private:
    // From the commit until the last command has run.
    double change(const e2e::Json& columns, const std::string& message) {
        log_.clear();
        const auto begin = Clock::now();
        database_.update(e2e::statusTable, e2e::internetRow, columns);
        settle();
        auto end = begin;
        for (const e2e::LogLine& line : log_.lines()) {
            const std::string text = e2e::levelAndText(line);
            if (text.starts_with("error: ")) {
                throw std::runtime_error(text);
            }
            end = text.starts_with(message) ? line.received : end;
        }
        if (end == begin) {
            throw std::runtime_error("the daemon did nothing");
        }
        return milliseconds(end - begin);
    }

    // Returns when the daemon has done what follows from every change so far.
    void settle() {
        e2e::pause(e2e::Milliseconds(500)); // looking takes processor time that the tools may want
        const std::string mark = "settled " + std::to_string(++settled_);
        database_.update("StatusDsl", 1, {{"StatusString", mark}});
        if (!log_.waitFor("info: DSL has state '" + mark + "'")) {
            throw std::runtime_error("the daemon does not take in changes");
        }
    }

    e2e::SyslogCapture log_;
    e2e::OvsdbServer server_{e2e::schemaFile()};
    e2e::Database database_;
    int settled_ = 0;
};

// One program after the other.
double runAll(const std::vector<std::string>& lines) {
    Clock::duration all{};
    for (const std::string& line : lines) {
        all += run(line);
    }
    return milliseconds(all);
}

// A folder in which every tool is a small static program that does nothing.
std::string idleTools() {
    const std::string folder = "/tmp/idle-tools";
    std::filesystem::create_directory(folder);
    for (const char* tool : {"qcfg", "classcfg", "ifcfg"}) {
        std::filesystem::create_symlink(BENCH_NOTHING, folder + "/" + tool);
    }
    return folder;
}

} // namespace

int wholeWan(const std::string& folder) {
    const LabGateway gateway;
    Daemon daemon;
    const std::string idle = idleTools();
    Times real, fireqos, batch, floor;
    const std::vector<std::function<void()>> contestants = {
        [&] { daemon.round(BENCH_PROGRAM_FOLDER, real); },
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
        [&] { daemon.round(idle, floor); },
    };
    // Each comes first equally often.
    for (std::size_t turn = 0; turn < rounds * contestants.size(); ++turn) {
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
