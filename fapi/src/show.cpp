#include "show.h"

#include "json.h"
#include "rule.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>

namespace fapi {

namespace {

void counters(Json& json, const tc::Counters& of, uint32_t drops) {
    json.number("packets", of.packets);
    json.number("bytes", of.bytes);
    json.number("drops", drops);
    json.number("backlog_packets", of.backlogPackets);
    json.number("backlog_bytes", of.backlogBytes);
}

class PortListing {
  public:
    explicit PortListing(Session& session) : session_(session) {}

    std::string run() {
        json_.beginObject();
        json_.beginArray("shapers");
        for (const Shaper& shaper : session_.state().shapers) {
            json_.beginObject();
            json_.text("name", shaper.name);
            place(shaper.port, shaper.port, shaper.direction);
            json_.number("rate_kbit", shaper.kbit);
            count(shaper.port, shaper.direction, shaperClass);
            json_.endObject();
        }
        json_.endArray();
        json_.beginArray("queues");
        for (const Queue& queue : session_.state().queues) {
            describe(queue);
        }
        json_.endArray();
        json_.beginArray("unclassified");
        for (const PortPlan& plan : plansOf(session_.state())) {
            json_.beginObject();
            place(plan.port, plan.port, plan.direction);
            count(plan.port, plan.direction, unclassifiedClass);
            json_.endObject();
        }
        json_.endArray();
        json_.endObject();
        return json_.result();
    }

  private:
    void describe(const Queue& queue) {
        const Interface port = portOf(session_.state(), queue.owner);
        json_.beginObject();
        json_.text("name", queue.name);
        place(queue.owner, port, queue.direction);
        json_.text("scheduler", queue.scheduler == Scheduler::strict ? "sp" : "wfq");
        json_.number(queue.scheduler == Scheduler::strict ? "priority" : "weight", queue.value);
        json_.number("length", queue.length);
        json_.text("drop", queue.drop == Drop::tail ? "tail" : "red");
        json_.number("map", queue.mark);
        count(port, queue.direction, classOf(queue));
        json_.endObject();
    }

    void place(const Interface& interface, const Interface& port, Direction direction) {
        json_.text("interface", interface.name);
        json_.text("port", port.name);
        json_.text("direction", nameOf(direction));
        const Link* device = session_.ports().deviceOf(port, direction);
        json_.text("device", device == nullptr ? "" : device->name);
    }

    // The class counts what was sent; what was dropped is counted by the queue below it.
    void count(const Interface& port, Direction direction, uint32_t handle) {
        json_.text("class", tc::textOf(handle));
        const PortTree& tree = session_.ports().tree(port, direction);
        const auto found = tree.classes.find(handle);
        const auto below = tree.qdiscByParent.find(handle);
        uint32_t drops = below == tree.qdiscByParent.end() ? 0 : below->second.counters.drops;
        if (handle == shaperClass) {
            for (const auto& [parent, qdisc] : tree.qdiscByParent) {
                drops += tree.classes.contains(parent) && qdisc.kind != "htb" ? qdisc.counters.drops : 0;
            }
        }
        counters(json_, found == tree.classes.end() ? tc::Counters{} : found->second.counters, drops);
    }

    Session& session_;
    Json json_;
};

std::string addressText(uint8_t family, const __u32 (&address)[4], const __u32 (&mask)[4], bool excluded) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(family == 4 ? AF_INET : AF_INET6, address, text.data(), text.size());
    int bits = 0;
    for (const __u32 word : mask) {
        bits += std::popcount(word);
    }
    return std::string(excluded ? "!" : "") + text.data() + "/" + std::to_string(bits);
}

std::string portsText(uint16_t low, uint16_t high, bool excluded) {
    return (excluded ? "!" : "") + std::to_string(low) + (low == high ? "" : ":" + std::to_string(high));
}

void criteria(Json& json, const fapi_rule& rule) {
    json.text("protocol", rule.protocol == 6 ? "tcp" : rule.protocol == 17 ? "udp" : "igmp");
    if ((rule.flags & FAPI_PURE_ACK) != 0) {
        json.text("tcp_flags", "ack");
    }
    if ((rule.flags & FAPI_DST) != 0) {
        json.text("destination",
                  addressText(rule.family, rule.dst, rule.dst_mask, (rule.flags & FAPI_DST_NOT) != 0));
    }
    if ((rule.flags & FAPI_SRC) != 0) {
        json.text("source",
                  addressText(rule.family, rule.src, rule.src_mask, (rule.flags & FAPI_SRC_NOT) != 0));
    }
    if ((rule.flags & FAPI_DPORT) != 0) {
        json.text("destination_ports",
                  portsText(rule.dport_low, rule.dport_high, (rule.flags & FAPI_DPORT_NOT) != 0));
    }
    if ((rule.flags & FAPI_SPORT) != 0) {
        json.text("source_ports",
                  portsText(rule.sport_low, rule.sport_high, (rule.flags & FAPI_SPORT_NOT) != 0));
    }
    if (rule.dscp != FAPI_NONE) {
        json.number("dscp", rule.dscp);
    }
}

void describe(Json& json, const Rule& rule, const fapi_hits& hits) {
    json.beginObject();
    json.text("name", rule.name.data());
    json.text("interface", rule.inName.data());
    criteria(json, rule.match);
    if (rule.hasOut()) {
        json.text("out", rule.outName.data());
    }
    if (rule.match.new_dscp != FAPI_NONE) {
        json.number("set_dscp", rule.match.new_dscp);
    }
    if (rule.match.new_pcp != FAPI_NONE) {
        json.number("set_pcp", rule.match.new_pcp);
    }
    json.text("direction", rule.downstream != 0 ? "downstream" : "upstream");
    json.number("mark", rule.match.mark);
    json.number("priority", rule.match.priority);
    json.number("packets", hits.packets);
    json.number("bytes", hits.bytes);
    json.endObject();
}

} // namespace

std::string showPorts(Session& session) {
    return PortListing(session).run();
}

std::string showIfMaps(Session& session) {
    Json json;
    json.beginObject();
    json.beginArray("ifmaps");
    for (const IfMap& map : session.state().ifMaps) {
        json.beginObject();
        json.text("interface", map.upper.name);
        json.text("base", map.base.name);
        json.text("lowest", map.lowest.name);
        json.number("category", static_cast<uint64_t>(map.category));
        if (map.group) {
            json.number("group", static_cast<uint64_t>(*map.group));
        }
        json.number("uses", map.uses);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.result();
}

std::string showRules(Session& session) {
    Json json;
    json.beginObject();
    json.beginArray("rules");
    const State& state = session.state();
    for (const uint32_t slot : state.rules.inOrder()) {
        describe(json, state.rules.at(slot), session.classifier().hitsOf(state.kernel, slot));
    }
    json.endArray();
    json.endObject();
    return json.result();
}

} // namespace fapi
