#include "benches.h"
#include "gateway.h"
#include "report.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

// The number behind "NAME:" in a file of /proc.
double procValue(pid_t process, const std::string& file, const std::string& name) {
    const std::string text = e2e::readFile("/proc/" + std::to_string(process) + "/" + file);
    const std::size_t position = text.find("\n" + name + ":");
    if (position == std::string::npos) {
        throw std::runtime_error("no " + name + " in /proc/PID/" + file);
    }
    return std::atof(text.c_str() + position + name.size() + 2);
}

double megabytes(pid_t process) {
    return procValue(process, "smaps_rollup", "Pss") / 1024;
}

double wakeUps(pid_t process) {
    return procValue(process, "status", "voluntary_ctxt_switches");
}

void measureMemory(Report& report) {
    e2e::SyslogCapture log;
    e2e::OvsdbServer server(e2e::schemaFile());
    e2e::Database db;
    e2e::Daemon daemon;
    if (!log.waitFor("info: Now starting confighandler...")) {
        throw std::runtime_error("the daemon does not start");
    }
    e2e::pause(e2e::Milliseconds(700)); // it has tried to connect
    const double before = megabytes(daemon.process().id());

    server.start();
    db.replaceAll(readyGateway("dsl-tripleplay"));
    log.waitFor("info: current ProviderInternet state: isUp: 0, Address: '0.0.0.0'");
    db.update(e2e::statusTable, e2e::internetRow, e2e::internetUp());
    log.waitFor("info: skip setting PCP egress map, done by fapi");
    e2e::pause(e2e::Milliseconds(500));
    const double after = megabytes(daemon.process().id());
    report.add({"PSS before connecting", before, "MB"});
    report.add({"PSS after one WAN up", after, "MB"});
    report.add({"  the difference", after - before, "MB", 4});

    // The loop's own bound is 10 s.
    constexpr int seconds = 25;
    const double begin = wakeUps(daemon.process().id());
    e2e::pause(std::chrono::seconds(seconds));
    report.add({"wake-ups in 25 s of idling", wakeUps(daemon.process().id()) - begin, "", 3,
                "2 or 3 are the loop's own bound of 10 s"});
}

void measureSize(Report& report) {
    const std::string program = e2e::programFolder() + "/pacerd_ng";
    report.add({"daemon on disk, stripped",
                [&] {
                    if (e2e::run({"strip", "-o", "/tmp/stripped", program}).status != 0) {
                        throw std::runtime_error("strip fails");
                    }
                    return static_cast<double>(std::filesystem::file_size("/tmp/stripped")) / 1024;
                }(),
                "kB"});
}

} // namespace

int footprint(const std::string& folder) {
    Report report(folder, "footprint");
    measureSize(report);
    measureMemory(report);
    return report.finish();
}

} // namespace bench
