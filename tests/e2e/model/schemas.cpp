#include "generator.h"

#include <string>
#include <utility>
#include <vector>

namespace e2e::model {

namespace {

struct LooseTable {
    const char* name;
    std::vector<const char*> numbers;
    std::vector<const char*> texts;
};

const std::vector<LooseTable>& looseTables() {
    static const std::vector<LooseTable> tables = {
        {"NetworkSetupNode", {"Enable"}, {"InterfaceName", "ParentInterface", "Type"}},
        {"StatusDsl", {"Status"}, {"StatusString"}},
        {"StatusNetifWatchLogical", {"IsUp"}, {"Name", "Interface", "Addr"}},
        {"QoSShaper", {"Enable", "ShapeEgress", "ShapeIngress", "ShapingRate"}, {"InterfaceName"}},
        {"QoSQueues",
         {"Enable", "Ingress", "Egress", "BufferLen", "WFQWeight", "Precedence"},
         {"Name", "InterfaceName", "TrafficClasses", "Scheduler", "DropAlgorithm"}},
        {"QoSClassificationAction",
         {"DSCPMark", "EthPriorityMark", "TrafficClass"},
         {"Name", "QueueInterface"}},
        {"QoSClassification",
         {"Enable", "QoSClassificationActionId", "DestIPExclude", "SourceIPExclude", "DestPortRangeExclude",
          "SourcePortRangeExclude", "TCPACK", "DSCPMatch", "DSCPMatchExclude"},
         {"Name", "ClassifyInterface", "DestIP", "SourceIP", "Protocol", "DestPortRange", "SourcePortRange"}},
    };
    return tables;
}

Json column(const char* type, bool optional) {
    return {{"type", {{"key", type}, {"min", optional ? 0 : 1}, {"max", 1}}}};
}

bool isFlag(const std::string& name) {
    return name == "Enable" || name == "TCPACK" || name.ends_with("gress") || name.ends_with("Exclude");
}

Json columnsOf(const LooseTable& table, unsigned variant) {
    Json columns = {{"Id", {{"type", "integer"}}}};
    const bool optional = variant != 2 && variant != 3;
    for (const char* number : table.numbers) {
        const char* type = variant == 5 ? "string" : variant == 6 && isFlag(number) ? "boolean" : "integer";
        columns[number] = column(type, optional);
    }
    for (const char* text : table.texts) {
        columns[text] = column("string", optional);
    }
    if (columns.contains("DSCPMatch")) {
        const char* type = variant == 4 || variant == 5 ? "string" : "integer";
        columns["DSCPMatch"] = column(type, variant != 3);
    }
    return columns;
}

// The columns that rows are looked up by are the interesting ones.
void dropColumn(Json& tables, Random& random) {
    static const std::vector<std::pair<const char*, const char*>> keys = {
        {"NetworkSetupNode", "Type"},
        {"NetworkSetupNode", "InterfaceName"},
        {"StatusNetifWatchLogical", "Name"}};
    if (random.chance(40)) {
        const auto& [table, column] = random.oneOf(keys);
        tables[table]["columns"].erase(column);
        return;
    }
    const LooseTable& table = random.oneOf(looseTables());
    tables[table.name]["columns"].erase(
        random.oneOf(random.chance(50) && !table.numbers.empty() ? table.numbers : table.texts));
}

} // namespace

Json looseSchema(unsigned variant, Random& random) {
    Json tables = Json::object();
    for (const LooseTable& table : looseTables()) {
        tables[table.name] = {{"columns", columnsOf(table, variant)}, {"isRoot", true}};
        tables[table.name]["columns"]["Note"] = column("string", true); // none of the daemon's business
    }
    if (variant == 7) {
        tables.erase(random.oneOf(looseTables()).name);
    }
    if (variant == 8) {
        dropColumn(tables, random);
    }
    tables["SomethingElse"] = {{"columns", {{"Id", {{"type", "integer"}}}}}, {"isRoot", true}};
    return {{"name", "Gateway"}, {"version", "0.0.1"}, {"tables", tables}};
}

} // namespace e2e::model
