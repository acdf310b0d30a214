#include "pacerctl/applied.h"
#include "pacerctl/built.h"
#include "pacerctl/commands.h"
#include "pacerctl/files.h"
#include "pacerctl/wanstate.h"

#include <ostream>

namespace pacerctl {

namespace {

using Labels = std::vector<std::pair<const char*, std::string>>;

// In a label's value, backslash, double quote and line feed are escaped (Prometheus text format 0.0.4).
std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\' || c == '"') {
            result += '\\';
        }
        result += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return result;
}

class MetricsText {
  public:
    void begin(const std::string& name, const char* type, const char* help) {
        name_ = name;
        text_ += "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }

    void add(const Labels& labels, unsigned long long value) {
        text_ += name_;
        const char* separator = "{";
        for (const auto& [key, label] : labels) {
            text_ += std::string(separator) + key + "=\"" + escaped(label) + "\"";
            separator = ",";
        }
        text_ += (labels.empty() ? "" : "}") + std::string(" ") + std::to_string(value) + "\n";
    }

    const std::string& text() const { return text_; }

  private:
    std::string name_;
    std::string text_;
};

struct CounterMetric {
    const char* suffix;
    const char* type;
    const char* help;
    unsigned long long Counters::*value;
};

constexpr CounterMetric trafficMetrics[] = {
    {"packets_total", "counter", "Packets that were sent.", &Counters::packets},
    {"bytes_total", "counter", "Bytes that were sent.", &Counters::bytes},
    {"drops_total", "counter", "Packets that were dropped because there was no room.", &Counters::drops},
    {"backlog_packets", "gauge", "Packets that wait.", &Counters::backlogPackets},
    {"backlog_bytes", "gauge", "Bytes that wait.", &Counters::backlogBytes},
};

// The name in the tables of what the tools know by another one.
std::string nameOf(const Built& built, const AppliedQueue& applied) {
    for (const BuiltQueue& queue : built.queues) {
        if (queue.fapiName == applied.name && queue.interface == applied.interface) {
            return queue.queue->name;
        }
    }
    return "";
}

template <typename Object, typename LabelsOf>
void addTraffic(MetricsText& metrics, const std::string& prefix, const std::vector<Object>& objects,
                LabelsOf labelsOf) {
    for (const CounterMetric& metric : trafficMetrics) {
        metrics.begin(prefix + metric.suffix, metric.type, metric.help);
        for (const Object& object : objects) {
            metrics.add(labelsOf(object), object.counters.*metric.value);
        }
    }
}

std::string metricsText(const Applied& applied, const Built& built, bool wanIsUp) {
    MetricsText metrics;
    metrics.begin("pacerd_wan_up", "gauge", "1 while the WAN is up, by the configuration database.");
    metrics.add({}, wanIsUp ? 1 : 0);
    addTraffic(metrics, "pacerd_queue_", applied.queues, [&](const AppliedQueue& queue) {
        return Labels{{"queue", nameOf(built, queue)},
                      {"fapi_name", queue.name},
                      {"interface", queue.interface},
                      {"port", queue.port},
                      {"direction", queue.direction}};
    });
    addTraffic(metrics, "pacerd_unclassified_", applied.rests, [](const AppliedRest& rest) {
        return Labels{{"port", rest.port}, {"direction", rest.direction}};
    });
    const auto shaperLabels = [](const AppliedShaper& shaper) {
        return Labels{{"port", shaper.interface}, {"direction", shaper.direction}};
    };
    addTraffic(metrics, "pacerd_shaper_", applied.shapers, shaperLabels);
    metrics.begin("pacerd_shaper_rate_bits_per_second", "gauge", "Peak rate of the port.");
    for (const AppliedShaper& shaper : applied.shapers) {
        constexpr unsigned long long bitsPerKbit = 1000;
        metrics.add(shaperLabels(shaper), static_cast<unsigned long long>(shaper.rate) * bitsPerKbit);
    }
    for (const CounterMetric& metric : {trafficMetrics[0], trafficMetrics[1]}) {
        metrics.begin(std::string("pacerd_rule_") + metric.suffix, metric.type, "What the rule has matched.");
        for (const AppliedRule& rule : applied.rules) {
            metrics.add({{"rule", rule.name}, {"interface", rule.interface}}, rule.counters.*metric.value);
        }
    }
    return metrics.text();
}

Json toJson(const Applied& applied, const Built& built, bool wanIsUp, const std::string& source) {
    Json json = jsonHead("metrics", source);
    json["wanUp"] = wanIsUp;
    for (const char* list : {"queues", "unclassified", "shapers", "rules"}) {
        json[list] = Json::array();
    }
    for (const AppliedQueue& queue : applied.queues) {
        json["queues"].push_back({{"name", nameOf(built, queue)},
                                  {"fapiName", queue.name},
                                  {"interface", queue.interface},
                                  {"port", queue.port},
                                  {"direction", queue.direction},
                                  {"counters", toJson(queue.counters)}});
    }
    for (const AppliedRest& rest : applied.rests) {
        json["unclassified"].push_back(
            {{"port", rest.port}, {"direction", rest.direction}, {"counters", toJson(rest.counters)}});
    }
    for (const AppliedShaper& shaper : applied.shapers) {
        json["shapers"].push_back({{"port", shaper.interface},
                                   {"direction", shaper.direction},
                                   {"rateKbit", shaper.rate},
                                   {"counters", toJson(shaper.counters)}});
    }
    for (const AppliedRule& rule : applied.rules) {
        json["rules"].push_back({{"name", rule.name},
                                 {"interface", rule.interface},
                                 {"packets", rule.counters.packets},
                                 {"bytes", rule.counters.bytes}});
    }
    return json;
}

} // namespace

ExitStatus metricsCommand(const Terminal& terminal, const Snapshot& snapshot, const std::string& outputFile) {
    const Applied applied = readApplied();
    std::vector<std::string> takenAsUp;
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway gateway(assumed);
    const Built built(gateway);
    const bool wanIsUp = findWanState(snapshot).up;
    if (!outputFile.empty()) {
        writeFile(outputFile, metricsText(applied, built, wanIsUp));
    } else if (terminal.json) {
        writeJson(terminal.out, toJson(applied, built, wanIsUp, snapshot.source()));
    } else {
        terminal.out << metricsText(applied, built, wanIsUp);
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
