#include "pacerctl/commands.h"
#include "pacerctl/files.h"
#include "pacerctl/graph.h"
#include "pacerctl/process.h"

#include <ostream>

namespace pacerctl {

namespace {

Json toJson(const Graph& graph, const std::string& source) {
    Json json = jsonHead("graph", source);
    json["nodes"] = Json::array();
    for (const GraphNode& node : graph.nodes) {
        json["nodes"].push_back({{"id", node.id}, {"kind", nameOf(node.kind)}, {"label", node.lines}});
    }
    json["edges"] = Json::array();
    for (const GraphEdge& edge : graph.edges) {
        json["edges"].push_back({{"from", edge.from},
                                 {"to", edge.to},
                                 {"label", edge.label.empty() ? Json() : Json(edge.label)},
                                 {"fallback", edge.isFallback}});
    }
    return json;
}

void writeSvg(const std::string& file, const std::string& dot) {
    const ProcessResult result = runProcess({"dot", "-Tsvg"}, dot);
    if (!result.failure.empty()) {
        throw WrongUsage("--svg needs Graphviz (package graphviz): 'dot' " + result.failure);
    }
    writeFile(file, result.output);
}

} // namespace

ExitStatus graphCommand(const Terminal& terminal, const Snapshot& snapshot, const std::string& svgFile) {
    std::vector<std::string> takenAsUp;
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway gateway(assumed);
    const Built built(gateway);
    const Graph graph = makeGraph(gateway, built);
    if (!svgFile.empty()) {
        writeSvg(svgFile, toDot(graph));
    } else if (terminal.json) {
        writeJson(terminal.out, toJson(graph, snapshot.source()));
    } else {
        terminal.out << toDot(graph);
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
