#include "pacerctl/built.h"
#include "pacerctl/commands.h"
#include "pacerctl/top.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <thread>

namespace pacerctl {

namespace {

constexpr int barWidth = 20; // characters for a whole port
constexpr const char* clearScreen = "\033[H\033[2J";

std::string fixed(double number, int digits) {
    std::array<char, 32> text = {};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.*f", digits, number));
    return text.data();
}

std::string bar(double share) {
    const int filled = std::clamp(static_cast<int>(std::lround(share * barWidth)), 0, barWidth);
    std::string text;
    for (int i = 0; i < barWidth; ++i) {
        text += i < filled ? "█" : "·";
    }
    return text;
}

std::string nameOf(const Built& built, const QueueRate& rate) {
    for (const BuiltQueue& queue : built.queues) {
        if (queue.fapiName == rate.fapiName && queue.interface == rate.interface) {
            return queue.queue->name;
        }
    }
    return rate.fapiName.empty() ? "(behind all queues)" : rate.fapiName;
}

void print(std::ostream& out, const Style& style, const Built& built, const std::vector<QueueRate>& rates) {
    Columns columns("lllrrrrrl");
    columns.add({"QUEUE", "INTERFACE", "RANK", "KBIT/S", "PACKETS/S", "DROPS/S", "BACKLOG", "SHARE", ""});
    for (const QueueRate& rate : rates) {
        const std::string drops = fixed(rate.dropsPerSecond, 1);
        columns.add({printable(nameOf(built, rate)),
                     printable(rate.interface) + (rate.direction == "ingress" ? " in" : ""), rate.rank,
                     fixed(rate.kbitPerSecond, 1), fixed(rate.packetsPerSecond, 1),
                     rate.dropsPerSecond > 0 ? style.bad(drops) : drops, std::to_string(rate.backlogPackets),
                     rate.share < 0 ? "" : fixed(rate.share * 100, 1) + "%",
                     rate.share < 0 ? "" : style.good(bar(rate.share))});
    }
    out << (rates.empty() ? "no queue is configured\n" : columns.text(0));
}

Json toJson(const Built& built, const std::vector<QueueRate>& rates, const std::string& source,
            double seconds) {
    Json json = jsonHead("top", source);
    json["seconds"] = seconds;
    json["queues"] = Json::array();
    for (const QueueRate& rate : rates) {
        json["queues"].push_back({{"name", rate.fapiName.empty() ? Json() : Json(nameOf(built, rate))},
                                  {"fapiName", rate.fapiName.empty() ? Json() : Json(rate.fapiName)},
                                  {"interface", rate.interface},
                                  {"port", rate.port},
                                  {"direction", rate.direction},
                                  {"kbitPerSecond", rate.kbitPerSecond},
                                  {"packetsPerSecond", rate.packetsPerSecond},
                                  {"dropsPerSecond", rate.dropsPerSecond},
                                  {"backlogPackets", rate.backlogPackets},
                                  {"share", rate.share < 0 ? Json() : Json(rate.share)}});
    }
    return json;
}

} // namespace

double SystemClock::now() {
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

void SystemClock::sleep(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

ExitStatus topCommand(const Terminal& terminal, const Snapshot& snapshot, const TopOptions& options,
                      Clock& clock) {
    std::vector<std::string> takenAsUp;
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway gateway(assumed);
    const Built built(gateway);
    Applied before = readApplied();
    double since = clock.now();
    for (unsigned shown = 0; options.count == 0 || shown < options.count; ++shown) {
        clock.sleep(options.interval);
        Applied after = readApplied();
        const double now = clock.now();
        const std::vector<QueueRate> rates = ratesBetween(before, after, now - since);
        if (terminal.json) { // one document on each line
            terminal.out << toJson(built, rates, snapshot.source(), now - since).dump() << '\n';
        } else {
            if (options.refresh) {
                terminal.out << clearScreen;
            } else if (shown > 0) {
                terminal.out << '\n';
            }
            print(terminal.out, Style(terminal.colour), built, rates);
        }
        terminal.out.flush();
        before = std::move(after);
        since = now;
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
