#include "benches.h"
#include "gateway.h"
#include "report.h"

#include <cstdlib>
#include <functional>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t rounds = 15;

struct Lines {
    std::vector<std::string> up; // what the daemon gives to the shell, existence checks included
    std::string lastAdd;
    std::string lastRemoval;
};

// One run with each line written down.
Lines recordLines(Gateway& gateway) {
    const std::string file = "/tmp/lines";
    gateway.startDaemon({{"LD_PRELOAD", BENCH_LINESPY}, {"LINESPY", file}});
    gateway.up("info: apply success: 'qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress'");
    Lines lines;
    lines.up = e2e::linesOf(e2e::readFile(file));
    lines.lastAdd = "info: apply success: '" + lines.up.back() + "'";
    e2e::writeFile(file, "");
    gateway.stopDaemon();
    lines.lastRemoval = "info: remove success: '" + e2e::linesOf(e2e::readFile(file)).back() + "'";
    gateway.db.update(e2e::statusTable, e2e::internetRow, e2e::internetDown());
    return lines;
}

// Runs the lines on an empty record, as the daemon's tools find it.
double runLines(const std::vector<std::string>& words) {
    for (const char* record : {"/tmp/script.commands", "/tmp/script.commands.objects"}) {
        e2e::writeFile(record, "");
    }
    const char* path = std::getenv("PATH");
    const e2e::Command command{
        words,
        {{"PATH", e2e::toolsFolder() + ":" + (path == nullptr ? "/usr/bin:/bin" : path)},
         {"PACERD_RECORD", "/tmp/script.commands"}}};
    const auto begin = Clock::now();
    e2e::Process script(command);
    if (script.exitStatus() != 0) {
        throw std::runtime_error("the script fails");
    }
    return milliseconds(Clock::now() - begin);
}

void writeScript(const Lines& lines) {
    std::string script;
    for (const std::string& line : lines.up) {
        script += line + "\n";
    }
    e2e::writeFile("/tmp/lines.sh", script);
}

} // namespace

int wanUp(const std::string& folder) {
    Gateway gateway(readyGateway("dsl-tripleplay"));
    const Lines lines = recordLines(gateway);
    writeScript(lines);
    std::vector<double> daemonTimes;
    std::vector<double> scriptTimes;
    std::vector<double> systemTimes;
    const std::vector<std::function<void()>> contestants = {
        [&] {
            gateway.startDaemon();
            daemonTimes.push_back(milliseconds(gateway.up(lines.lastAdd)));
            gateway.down(lines.lastRemoval);
            gateway.stopDaemon();
        },
        [&] {
            scriptTimes.push_back(runLines({"sh", "/tmp/lines.sh"}));
        },
        [&] {
            systemTimes.push_back(runLines({BENCH_SYSTEMLINES, "/tmp/lines.sh"}));
        },
    };
    // Whoever comes after a pause may find a faster or a slower processor: each comes first equally often.
    for (std::size_t turn = 0; turn < rounds * contestants.size(); ++turn) {
        contestants[(turn + turn / contestants.size()) % contestants.size()]();
    }
    Report report(folder, "wan-up");
    report.details() = {{"lines", lines.up.size()},
                        {"rounds", rounds},
                        {"daemonMs", daemonTimes},
                        {"scriptMs", scriptTimes},
                        {"systemMs", systemTimes}};
    const double daemon = median(daemonTimes);
    const std::string count = std::to_string(lines.up.size()) + " lines";
    report.add({"WAN up, commit until the last command has run", daemon, "ms", {}, count});
    report.add({"sh script of the same lines", median(scriptTimes), "ms"});
    report.add({"system() for each of the same lines, nothing else",
                median(systemTimes),
                "ms",
                {},
                "starts a shell per line"});
    report.add({"daemon : sh script", daemon / median(scriptTimes), "", 1.05});
    report.add({"daemon : system() for each line",
                daemon / median(systemTimes),
                "",
                {},
                "what the daemon itself adds"});
    return report.finish();
}

} // namespace bench
