#include "pacerctl/built.h"
#include "pacerctl/commands.h"
#include "pacerctl/top.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>
#include <thread>

namespace pacerctl {

namespace {

constexpr int barWidth = 20; // characters for a whole port

// Written over what stood there before, so that nothing flickers; a line that is too long for the terminal
// ends there.
constexpr const char* clearScreen = "\033[2J";
constexpr const char* beginScreen = "\033[?7l\033[H";
constexpr const char* endOfLine = "\033[K\n";
constexpr const char* endScreen = "\033[J\033[?7h";

void show(std::ostream& out, const std::string& text, std::size_t rows) {
    std::istringstream lines(text);
    std::size_t shown = 0;
    out << beginScreen;
    for (std::string line; std::getline(lines, line); ++shown) {
        if (rows != 0 && shown + 2 > rows) { // the cursor needs the last row
            break;
        }
        out << line << endOfLine;
    }
    out << endScreen;
}

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

std::string table(const Terminal& terminal, const Built& built, const std::vector<QueueRate>& rates) {
    static const std::vector<std::string> expendable = {"",      "INTERFACE", "RANK",
                                                        "SHARE", "PACKETS/S", "BACKLOG"};
    const Style style(terminal.colour);
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
    return rates.empty() ? "no queue is configured\n" : columns.text(0, terminal.size().columns, expendable);
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
            const std::string text = table(terminal, built, rates);
            if (options.refresh) {
                terminal.out << (shown == 0 ? clearScreen : "");
                show(terminal.out, text, terminal.size().rows);
            } else {
                terminal.out << (shown == 0 ? "" : "\n") << text;
            }
        }
        terminal.out.flush();
        before = std::move(after);
        since = now;
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
