// The replica under any stream of updates holds the same rows as a map does. The input is a stream of
// choices, a byte each: there are no words for a dictionary.
#include "input.h"
#include "ovsdb/replica.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <vector>

namespace {

using ovsdb::Json;

struct Known {
    long long id = 0;
    std::string name;
    bool operator==(const Known&) const = default;
};

std::string uuidOf(unsigned number) {
    char text[37];
    std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012u", number);
    return text;
}

bool isLetIn(const std::string& name) {
    return name.find('!') == std::string::npos;
}

const ovsdb::RowGuard guard = [](const std::string&, const std::string&, const basalt::ValueList& row) {
    return isLetIn(row.getValue("Name").getText());
};

using Model = std::map<std::string, Known>; // by uuid

// One row of an update: gone, or with a new content.
void addRow(fuzz::Input& input, Json& rows, Model& model) {
    const std::string uuid = uuidOf(input.byte() % 32);
    const unsigned kind = input.byte();
    if (kind % 4 == 0) {
        rows[uuid] = {{"old", Json::object()}};
        model.erase(uuid);
        return;
    }
    const Known row = {static_cast<long long>(input.byte() % 16),
                       std::string(1 + kind % 3, "ab!c"[input.byte() % 4])};
    rows[uuid] = {{"new", {{"Id", row.id}, {"Name", row.name}}}};
    if (isLetIn(row.name)) {
        model[uuid] = row;
    } else {
        model.erase(uuid);
    }
}

void compare(const ovsdb::ReplicaTable& table, const Model& model) {
    std::vector<std::tuple<long long, std::string, std::string>> expected;
    for (const auto& [uuid, row] : model) {
        expected.emplace_back(row.id, uuid, row.name);
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::tuple<long long, std::string, std::string>> actual;
    for (const ovsdb::Row& row : table.rows()) {
        actual.emplace_back(row.values.getValue("Id").getInteger(), row.uuid.text(),
                            row.values.getValue("Name").getText());
    }
    fuzz::require(actual == expected, "the replica holds what the updates say, in ascending Id");
    for (const char* name : {"a", "bb", "ccc", "!"}) {
        const auto first = std::find_if(expected.begin(), expected.end(),
                                        [&](const auto& row) { return std::get<2>(row) == name; });
        const ovsdb::Row* found = table.findFirst("Name", name);
        fuzz::require((found == nullptr) == (first == expected.end()), "a key is found when a row has it");
        fuzz::require(found == nullptr || found->uuid.text() == std::get<1>(*first),
                      "and the first such row");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ovsdb::DatabaseSchema schema = ovsdb::DatabaseSchema::parse(Json::parse(
        R"({"name": "Db", "version": "1.0.0", "tables": {
            "T": {"columns": {"Id": {"type": "integer"}, "Name": {"type": "string"}}}}})"));
    fuzz::Input input(data, size);
    ovsdb::Replica replica(schema, {"T"});
    Model model;
    while (!input.empty()) {
        const Model before = model;
        Json rows = Json::object();
        for (unsigned count = input.byte() % 8; count > 0; --count) {
            addRow(input, rows, model);
        }
        Json update = {{"T", rows}};
        if (input.byte() % 8 == 0) { // broken at its end: nothing of it counts
            update["T"]["no uuid"] = {{"new", {{"Id", 1}}}};
            bool refused = false;
            try {
                replica.apply(update, guard);
            } catch (const ovsdb::ProtocolError&) {
                refused = true;
            }
            fuzz::require(refused, "a row without identity is refused");
            model = before;
        } else {
            fuzz::require(replica.apply(update, guard).size() == rows.size(), "each row is reported");
        }
        compare(*replica.find("T"), model);
    }
    return 0;
}
