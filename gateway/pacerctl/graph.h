// The way of packets through a gateway as a graph: entering interfaces, rules, queues, leaving interfaces,
// ports.
#pragma once

#include "pacerctl/built.h"

#include <string>
#include <vector>

namespace pacerctl {

struct GraphNode {
    enum class Kind { entering, rule, queue, rest, interface, port };
    std::string id;
    Kind kind = Kind::entering;
    std::vector<std::string> lines; // of its label
};

struct GraphEdge {
    std::string from;
    std::string to;
    std::string label;
    bool isFallback = false; // to a default queue, or behind all queues
};

struct Graph {
    std::vector<GraphNode> nodes;
    std::vector<GraphEdge> edges;
};

const char* nameOf(GraphNode::Kind kind);

Graph makeGraph(const Gateway& gateway, const Built& built);

// In Graphviz's language.
std::string toDot(const Graph& graph);

} // namespace pacerctl
