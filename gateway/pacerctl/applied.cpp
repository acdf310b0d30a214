#include "pacerctl/applied.h"

#include "pacerctl/process.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string_view>

namespace pacerctl {

namespace {

using ToolJson = nlohmann::json;

// Members that are absent keep their default.
std::string text(const ToolJson& json, const char* key) {
    return json.value(key, std::string());
}

long long number(const ToolJson& json, const char* key) {
    return json.value(key, 0LL);
}

std::optional<long long> optionalNumber(const ToolJson& json, const char* key) {
    return json.contains(key) ? std::optional(json.at(key).get<long long>()) : std::nullopt;
}

Counters counters(const ToolJson& json) {
    const auto count = [&](const char* key) { return json.value(key, 0ULL); };
    return {count("packets"), count("bytes"), count("drops"), count("backlog_packets"),
            count("backlog_bytes")};
}

AppliedQueue appliedQueue(const ToolJson& json) {
    AppliedQueue queue;
    queue.name = text(json, "name");
    queue.interface = text(json, "interface");
    queue.port = text(json, "port");
    queue.direction = text(json, "direction");
    queue.scheduler = text(json, "scheduler");
    queue.value = number(json, queue.scheduler == "sp" ? "priority" : "weight");
    queue.length = number(json, "length");
    queue.drop = text(json, "drop");
    queue.map = number(json, "map");
    queue.counters = counters(json);
    return queue;
}

AppliedRule appliedRule(const ToolJson& json) {
    AppliedRule rule;
    rule.name = text(json, "name");
    rule.interface = text(json, "interface");
    rule.protocol = text(json, "protocol");
    rule.tcpFlags = text(json, "tcp_flags");
    rule.destination = text(json, "destination");
    rule.source = text(json, "source");
    rule.destinationPorts = text(json, "destination_ports");
    rule.sourcePorts = text(json, "source_ports");
    rule.dscp = optionalNumber(json, "dscp");
    rule.leaving = text(json, "out");
    rule.setDscp = optionalNumber(json, "set_dscp");
    rule.setPcp = optionalNumber(json, "set_pcp");
    rule.downstream = text(json, "direction") == "downstream";
    rule.mark = number(json, "mark");
    rule.priority = number(json, "priority");
    rule.counters = counters(json);
    return rule;
}

void addMembers(const ToolJson& json, Applied& applied) {
    const auto each = [&](const char* key, auto add) {
        if (json.contains(key)) {
            for (const ToolJson& entry : json.at(key)) {
                add(entry);
            }
        }
    };
    each("ifmaps", [&](const ToolJson& entry) {
        applied.ifMaps.push_back({text(entry, "interface"), text(entry, "base"), text(entry, "lowest"),
                                  number(entry, "category"), optionalNumber(entry, "group"),
                                  entry.value("uses", 1LL)});
    });
    each("shapers", [&](const ToolJson& entry) {
        applied.shapers.push_back({text(entry, "name"), text(entry, "interface"), text(entry, "direction"),
                                   number(entry, "rate_kbit"), counters(entry)});
    });
    each("queues", [&](const ToolJson& entry) { applied.queues.push_back(appliedQueue(entry)); });
    each("rules", [&](const ToolJson& entry) { applied.rules.push_back(appliedRule(entry)); });
    each("unclassified", [&](const ToolJson& entry) {
        applied.rests.push_back({text(entry, "port"), text(entry, "direction"), counters(entry)});
    });
}

} // namespace

const AppliedQueue* Applied::findQueue(const std::string& interface, const std::string& direction,
                                       const std::string& name) const {
    const auto found = std::find_if(queues.begin(), queues.end(), [&](const AppliedQueue& queue) {
        return queue.interface == interface && queue.direction == direction && queue.name == name;
    });
    return found == queues.end() ? nullptr : &*found;
}

const AppliedShaper* Applied::findShaper(const std::string& interface, const std::string& direction) const {
    const auto found = std::find_if(shapers.begin(), shapers.end(), [&](const AppliedShaper& shaper) {
        return shaper.interface == interface && shaper.direction == direction;
    });
    return found == shapers.end() ? nullptr : &*found;
}

const AppliedRule* Applied::findRule(const std::string& interface, const std::string& name) const {
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const AppliedRule& rule) {
        return rule.interface == interface && rule.name == name;
    });
    return found == rules.end() ? nullptr : &*found;
}

void addDocument(const std::string& tool, const std::string& text, Applied& applied) {
    try {
        const ToolJson json = ToolJson::parse(text);
        if (!json.is_object()) {
            throw ToolFailure("'" + tool + " --show --json' does not write a JSON object");
        }
        addMembers(json, applied);
    } catch (const ToolJson::exception& error) {
        throw ToolFailure("'" + tool + " --show --json' writes what cannot be read: " + error.what());
    }
}

Applied readApplied() {
    Applied applied;
    for (const char* tool : {"ifcfg", "qcfg", "classcfg"}) {
        const ProcessResult result = runProcess({tool, "--show", "--json"});
        if (!result.failure.empty()) {
            throw ToolFailure(std::string("'") + tool + " --show --json' " + result.failure);
        }
        addDocument(tool, result.output, applied);
    }
    return applied;
}

} // namespace pacerctl
