#include "failure.h"
#include "port.h"
#include "rule.h"
#include "store.h"
#include "values.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <limits>
#include <string_view>
#include <vector>

// One object a line, words separated by single blanks; interfaces as name and index. Example:
//   ifmap ppp0 7 2 ptm0 3 ptm0 3 - 1
//   shaper shape_wan ptm0 3 egress 20000
//   clsact br0 5
//   pcp ptm0.7 4 5
//   kernel 12345678901234567890 81 82 83 84 85 86 87 88 41 42 0 0 0
//   queue ppp0_q1 ppp0 7 egress 64 strict 1 tail 1 16

namespace fapi {

namespace {

std::string textOf(const Interface& interface) {
    return interface.name + " " + std::to_string(interface.index);
}

class Line {
  public:
    explicit Line(std::string_view text) : text_(text), rest_(text) {}

    std::string word() {
        const size_t end = rest_.find(' ');
        const std::string_view found = rest_.substr(0, end);
        rest_ = end == std::string_view::npos ? std::string_view{} : rest_.substr(end + 1);
        if (found.empty()) {
            bad();
        }
        return std::string(found);
    }

    template <typename T>
    T number(T lowest = std::numeric_limits<T>::min(), T highest = std::numeric_limits<T>::max()) {
        const std::string text = word();
        T value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || value < lowest || value > highest) {
            bad();
        }
        return value;
    }

    std::string name() {
        std::string text = word();
        if (!isName(text)) {
            bad();
        }
        return text;
    }

    // By whatever name the kernel has it.
    Interface interface() {
        std::string name = word();
        return {std::move(name), number<int>(1)};
    }

    void end() const {
        if (!rest_.empty()) {
            bad();
        }
    }

    template <typename T>
    T oneOf(std::string_view first, T firstValue, std::string_view second, T secondValue) {
        const std::string text = word();
        if (text != first && text != second) {
            bad();
        }
        return text == first ? firstValue : secondValue;
    }

    Direction direction() { return oneOf("egress", Direction::egress, "ingress", Direction::ingress); }

    [[noreturn]] void bad() const {
        constexpr size_t enough = 80; // characters
        throw Failure("a line is not understood: " + std::string(text_.substr(0, enough)));
    }

  private:
    std::string_view text_;
    std::string_view rest_;
};

IfMap readIfMap(Line& line) {
    IfMap map;
    map.upper = line.interface();
    map.category = line.number<int>();
    map.base = line.interface();
    map.lowest = line.interface();
    const std::string group = line.word();
    if (group != "-") {
        map.group = Line(group).number<int>();
    }
    map.uses = line.number<uint32_t>(1);
    return map;
}

Shaper readShaper(Line& line) {
    Shaper shaper;
    shaper.name = line.name();
    shaper.port = line.interface();
    shaper.direction = line.direction();
    shaper.kbit = line.number<uint64_t>(1, highestKbit);
    return shaper;
}

Queue readQueue(Line& line) {
    Queue queue;
    queue.name = line.name();
    queue.owner = line.interface();
    queue.direction = line.direction();
    queue.length = line.number<uint32_t>(0, highestLength);
    queue.scheduler = line.oneOf("strict", Scheduler::strict, "weighted", Scheduler::weighted);
    queue.value = queue.scheduler == Scheduler::strict ? line.number<uint32_t>(0, highestPrecedence)
                                                       : line.number<uint32_t>(1, highestWeight);
    queue.drop = line.oneOf("tail", Drop::tail, "red", Drop::red);
    queue.mark = line.number<uint32_t>();
    queue.minor = line.number<uint16_t>(firstQueueMinor, lastQueueMinor);
    return queue;
}

std::string kernelLine(const Kernel& kernel) {
    std::string line = "kernel " + std::to_string(kernel.digest);
    for (const uint32_t id : kernel.maps) {
        line += " " + std::to_string(id);
    }
    for (const uint32_t id : kernel.programs) {
        line += " " + std::to_string(id);
    }
    return line + "\n";
}

Kernel readKernel(Line& line) {
    Kernel kernel;
    kernel.digest = line.number<uint64_t>();
    for (uint32_t& id : kernel.maps) {
        id = line.number<uint32_t>();
    }
    for (uint32_t& id : kernel.programs) {
        id = line.number<uint32_t>();
    }
    return kernel;
}

// One class for each queue, one shaper for each port and direction.
void requireDistinct(const State& state) {
    std::bitset<lastQueueMinor + 1> taken;
    for (const Queue& queue : state.queues) {
        if (taken[queue.minor]) {
            throw Failure("two queues in one class: " + queue.name);
        }
        taken[queue.minor] = true;
    }
    for (auto shaper = state.shapers.begin(); shaper != state.shapers.end(); ++shaper) {
        if (std::any_of(state.shapers.begin(), shaper, [&](const Shaper& other) {
                return other.port == shaper->port && other.direction == shaper->direction;
            })) {
            throw Failure("two shapers on one port: " + shaper->name);
        }
    }
}

} // namespace

std::string formatState(const State& state) {
    std::string text;
    for (const IfMap& map : state.ifMaps) {
        text += "ifmap " + textOf(map.upper) + " " + std::to_string(map.category) + " " + textOf(map.base) +
                " " + textOf(map.lowest) + " " + (map.group ? std::to_string(*map.group) : "-") + " " +
                std::to_string(map.uses) + "\n";
    }
    for (const Shaper& shaper : state.shapers) {
        text += "shaper " + shaper.name + " " + textOf(shaper.port) + " " + nameOf(shaper.direction) + " " +
                std::to_string(shaper.kbit) + "\n";
    }
    for (const Queue& queue : state.queues) {
        text += "queue " + queue.name + " " + textOf(queue.owner) + " " + nameOf(queue.direction) + " " +
                std::to_string(queue.length) +
                (queue.scheduler == Scheduler::strict ? " strict " : " weighted ") +
                std::to_string(queue.value) + (queue.drop == Drop::tail ? " tail " : " red ") +
                std::to_string(queue.mark) + " " + std::to_string(queue.minor) + "\n";
    }
    for (const Interface& interface : state.clsacts) {
        text += "clsact " + textOf(interface) + "\n";
    }
    for (const auto& [vlan, pcp] : state.pcps) {
        text += "pcp " + textOf(vlan) + " " + std::to_string(pcp) + "\n";
    }
    if (!(state.kernel == Kernel{})) {
        text += kernelLine(state.kernel);
    }
    return text;
}

State parseState(const std::string& text) {
    State state;
    std::string_view rest = text;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        Line line(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
        if (end == 0) {
            continue; // a call was killed while it wrote over a longer text
        }
        const std::string kind = line.word();
        if (kind == "ifmap") {
            state.ifMaps.push_back(readIfMap(line));
        } else if (kind == "shaper") {
            state.shapers.push_back(readShaper(line));
        } else if (kind == "queue") {
            state.queues.push_back(readQueue(line));
        } else if (kind == "clsact") {
            state.clsacts.push_back(line.interface());
        } else if (kind == "pcp") {
            Interface vlan = line.interface();
            state.pcps.emplace_back(std::move(vlan), line.number<uint32_t>(0, highestPcp));
        } else if (kind == "kernel") {
            state.kernel = readKernel(line);
        } else {
            line.bad();
        }
        line.end();
    }
    requireDistinct(state);
    return state;
}

} // namespace fapi
