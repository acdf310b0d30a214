#include "pacerctl/graph.h"

#include <algorithm>

namespace pacerctl {

namespace {

using Kind = GraphNode::Kind;

std::string criteriaOf(const Rule& rule) {
    if (rule.tcpAck == 1) {
        return rule.protocol + " ack";
    }
    std::string text = rule.protocol;
    const auto add = [&](const char* name, const Criterion& criterion) {
        if (!criterion.empty()) {
            text += std::string(" ") + name + " " + (criterion.exclude == 1 ? "!" : "") + criterion.text;
        }
    };
    add("from", rule.source);
    add("sport", rule.sourcePort);
    add("to", rule.destination);
    add("dport", rule.destinationPort);
    return rule.dscp ? text + " dscp " + std::to_string(*rule.dscp) : text;
}

std::string marksOf(const Action& action) {
    std::string text = "mark " + std::to_string(action.trafficClass);
    text += action.marksDscp() ? ", dscp " + std::to_string(action.dscp) : "";
    return action.marksPcp() ? text + ", pcp " + std::to_string(action.pcp) : text;
}

std::string rankOf(const Queue& queue) {
    return queue.scheduler == "SP" ? "SP " + std::to_string(queue.precedence)
                                   : queue.scheduler + " weight " + std::to_string(queue.weight);
}

class GraphBuilder {
  public:
    GraphBuilder(const Gateway& gateway, const Built& built) : gateway_(gateway), built_(built) {}

    Graph build() {
        for (const BuiltPath& path : built_.paths) {
            addStack(path);
        }
        for (const BuiltQueue& queue : built_.queues) {
            addQueue(queue);
        }
        for (const BuiltRule& rule : built_.rules) {
            addRule(rule);
        }
        dropUnconnected();
        return std::move(graph_);
    }

  private:
    bool isNew(const std::string& id) const {
        return std::none_of(graph_.nodes.begin(), graph_.nodes.end(),
                            [&](const GraphNode& node) { return node.id == id; });
    }

    // The gateway itself, say, where no packet leaves.
    void dropUnconnected() {
        std::erase_if(graph_.nodes, [&](const GraphNode& node) {
            return std::none_of(graph_.edges.begin(), graph_.edges.end(), [&](const GraphEdge& edge) {
                return edge.from == node.id || edge.to == node.id;
            });
        });
    }

    void addNode(const std::string& id, Kind kind, std::vector<std::string> lines) {
        if (isNew(id)) {
            graph_.nodes.push_back({id, kind, std::move(lines)});
        }
    }

    void addEdge(GraphEdge edge) {
        const bool known = std::any_of(graph_.edges.begin(), graph_.edges.end(), [&](const GraphEdge& each) {
            return each.from == edge.from && each.to == edge.to;
        });
        if (!known) {
            graph_.edges.push_back(std::move(edge));
        }
    }

    void addStack(const BuiltPath& path) {
        const Stack stack = path.kind == BuiltPath::Kind::wan ? findStack(gateway_, path.interface)
                                                              : Stack{{path.interface}, Stack::End::root, ""};
        for (std::size_t i = 0; i < stack.interfaces.size(); ++i) {
            const std::string& name = stack.interfaces[i];
            std::vector<std::string> lines = {name};
            for (const Service* service : gateway_.servicesOn(name)) {
                lines.push_back(service->name);
            }
            const bool isPort = path.kind == BuiltPath::Kind::wan && name == path.port;
            if (isPort) {
                addRates(name, lines);
            }
            addNode("interface " + name, isPort ? Kind::port : Kind::interface, lines);
            if (i > 0) {
                addEdge({"interface " + stack.interfaces[i - 1], "interface " + name, "", false});
            }
        }
    }

    void addRates(const std::string& port, std::vector<std::string>& lines) const {
        for (const Shaper& shaper : gateway_.shapers) {
            if (shaper.enable == 1 && shaper.interface == port) {
                const std::string directions = std::string(shaper.egress == 1 ? " egress" : "") +
                                               (shaper.ingress == 1 ? " ingress" : "");
                lines.push_back("shaped to " + std::to_string(shaper.rate) + " kbit/s" + directions);
            }
        }
    }

    static std::string idOf(const BuiltQueue& queue) { return "queue " + queue.fapiName; }

    void addQueue(const BuiltQueue& queue) {
        addNode(idOf(queue), Kind::queue,
                {queue.queue->name, queue.fapiName,
                 rankOf(*queue.queue) + (queue.queue->isDefault() ? ", default" : "")});
        if (queue.ingress) { // before anything else happens to what comes in
            addEdge({idOf(queue), enter(queue.interface), "", false});
        } else {
            addEdge({idOf(queue), "interface " + queue.interface, "", false});
        }
    }

    std::string enter(const std::string& interface) {
        std::string id = "in " + interface;
        std::vector<std::string> lines = {"into " + interface};
        for (const Service* service : gateway_.servicesOn(interface)) {
            lines.push_back(service->name);
        }
        addNode(id, Kind::entering, lines);
        return id;
    }

    void addRule(const BuiltRule& rule) {
        if (rule.action == nullptr || !rule.rule->hasCommand()) {
            return;
        }
        const std::string id = "rule " + std::to_string(rule.rule->id);
        addNode(id, Kind::rule,
                {std::to_string(rule.rule->id) + " " + rule.rule->name, criteriaOf(*rule.rule)});
        addEdge({enter(rule.interface), id, "", false});
        const std::string target =
            rule.leaving.empty() ? gateway_.interfaceOf(rule.action->queueService) : rule.leaving;
        if (built_.hasPath(target)) {
            addTarget(id, rule, target);
        }
    }

    void addTarget(const std::string& ruleId, const BuiltRule& rule, const std::string& target) {
        const BuiltQueue* queue = built_.queueFor(target, rule.action->trafficClass, false);
        const std::string label = marksOf(*rule.action);
        if (queue != nullptr) {
            addEdge({ruleId, idOf(*queue), label, queue->queue->precedence != rule.action->trafficClass});
            return;
        }
        const std::string rest = "rest " + target;
        addNode(rest, Kind::rest, {"behind all queues"});
        addEdge({ruleId, rest, label, true});
        addEdge({rest, "interface " + target, "", false});
    }

    const Gateway& gateway_;
    const Built& built_;
    Graph graph_;
};

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return result + "\"";
}

// Lines of a label are separated by \n in Graphviz's own notation, so that the rest can be quoted first.
std::string labelOf(const std::vector<std::string>& lines) {
    std::string label = "\"";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string line = quoted(lines[i]);
        label += (i == 0 ? "" : "\\n") + line.substr(1, line.size() - 2);
    }
    return label + "\"";
}

const char* styleOf(Kind kind) {
    switch (kind) {
    case Kind::entering:
        return "shape=cds, margin=\"0.2,0.1\", style=filled, fillcolor=\"#dbe9f6\"";
    case Kind::rule:
        return "shape=box, style=\"rounded,filled\", fillcolor=\"#fdf3d8\"";
    case Kind::queue:
        return "shape=cylinder, style=filled, fillcolor=\"#e1f0dc\"";
    case Kind::rest:
        return "shape=cylinder, style=\"filled,dashed\", fillcolor=\"#eeeeee\"";
    case Kind::interface:
        return "shape=box, style=filled, fillcolor=\"#ffffff\"";
    case Kind::port:
        break;
    }
    return "shape=box, style=\"filled,bold\", fillcolor=\"#f4dede\"";
}

} // namespace

const char* nameOf(GraphNode::Kind kind) {
    static constexpr const char* names[] = {"entering", "rule", "queue", "rest", "interface", "port"};
    return names[static_cast<int>(kind)];
}

Graph makeGraph(const Gateway& gateway, const Built& built) {
    return GraphBuilder(gateway, built).build();
}

std::string toDot(const Graph& graph) {
    std::string dot = "digraph gateway {\n"
                      "    rankdir=LR;\n"
                      "    node [fontname=\"sans-serif\", fontsize=11];\n"
                      "    edge [fontname=\"sans-serif\", fontsize=9];\n";
    for (const GraphNode& node : graph.nodes) {
        dot +=
            "    " + quoted(node.id) + " [label=" + labelOf(node.lines) + ", " + styleOf(node.kind) + "];\n";
    }
    for (const GraphEdge& edge : graph.edges) {
        dot += "    " + quoted(edge.from) + " -> " + quoted(edge.to);
        const std::string label = edge.label.empty() ? "" : "label=" + quoted(edge.label);
        const std::string style = edge.isFallback ? "style=dashed" : "";
        if (!label.empty() || !style.empty()) {
            dot.append(" [").append(label).append(label.empty() || style.empty() ? "" : ", ").append(style) +=
                "]";
        }
        dot += ";\n";
    }
    return dot + "}\n";
}

} // namespace pacerctl
