#include "snapshot.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>

namespace e2e::model {

namespace {

// A column that may be absent has {"min": 0} in its type; any other has a value in every row.
std::optional<Cell> defaultOf(const Json& type) {
    if (type.is_object() && type.value("min", 1) == 0) {
        return std::nullopt;
    }
    const Json key = type.is_object() ? type["key"] : type;
    const std::string base = key.is_object() ? key["type"] : key;
    return base == "string" ? Cell(std::string()) : Cell(0LL);
}

Cell cellOf(const Json& value) {
    if (value.is_boolean()) {
        return Cell(value.get<bool>() ? 1LL : 0LL);
    }
    return value.is_string() ? Cell(value.get<std::string>()) : Cell(value.get<long long>());
}

// What the daemon passes to a shell without quoting: a row with anything else there is not let in.
bool isFit(const std::string& text, std::size_t longest) {
    const bool harmless = std::all_of(text.begin(), text.end(), [](unsigned char byte) {
        return byte < 128 && (std::isalnum(byte) != 0 || std::strchr("._:/,+@%=-", byte) != nullptr) &&
               byte != 0;
    });
    return harmless && !text.starts_with("-") && text.size() <= longest;
}

bool isLetIn(const std::string& table, const Row& row) {
    constexpr std::size_t word = 64;
    constexpr std::size_t interface = 15;
    if (table == "NetworkSetupNode" || table == "QoSShaper") {
        return isFit(row.text("InterfaceName"), interface);
    }
    if (table == "StatusNetifWatchLogical") {
        return isFit(row.text("Interface"), interface);
    }
    return table != "QoSClassification" ||
           (isFit(row.text("Name"), word) && isFit(row.text("DestIP"), word) &&
            isFit(row.text("SourceIP"), word) && isFit(row.text("DestPortRange"), word) &&
            isFit(row.text("SourcePortRange"), word));
}

std::map<long long, Json> byId(const Json& rows) {
    std::map<long long, Json> result;
    for (const Json& row : rows) {
        result.emplace(row["Id"].get<long long>(), row);
    }
    return result;
}

Json changedColumns(const Json& before, const Json& after) {
    Json columns = Json::object();
    for (const auto& [column, value] : after.items()) {
        if (!before.contains(column) || before[column] != value) {
            columns[column] = value;
        }
    }
    for (const auto& [column, value] : before.items()) {
        if (!after.contains(column)) {
            columns[column] = Json::array({"set", Json::array()});
        }
    }
    return columns;
}

} // namespace

long long Row::number(const std::string& column) const {
    const auto found = cells.find(column);
    if (found == cells.end()) {
        return 0;
    }
    if (const auto* value = std::get_if<long long>(&found->second)) {
        return *value;
    }
    try {
        return std::stoll(std::get<std::string>(found->second));
    } catch (const std::logic_error&) {
        return 0;
    }
}

std::string Row::text(const std::string& column) const {
    const auto found = cells.find(column);
    if (found == cells.end()) {
        return "";
    }
    const auto* value = std::get_if<long long>(&found->second);
    return value != nullptr ? std::to_string(*value) : std::get<std::string>(found->second);
}

Snapshot::Snapshot(const Json& configuration, const Json& schema) {
    for (const auto& [name, description] : schema["tables"].items()) {
        Table& table = tables_[name];
        std::map<std::string, Cell> defaults;
        for (const auto& [column, details] : description["columns"].items()) {
            table.columns.insert(column);
            if (const auto value = defaultOf(details["type"])) {
                defaults.emplace(column, *value);
            }
        }
        for (const auto& [id, columns] : byId(configuration.value(name, Json::array()))) {
            Row row{defaults};
            for (const auto& [column, value] : columns.items()) {
                row.cells[column] = cellOf(value);
            }
            if (isLetIn(name, row)) {
                table.rows.push_back(row);
            }
        }
    }
}

const Table* Snapshot::find(const std::string& name) const {
    const auto found = tables_.find(name);
    return found == tables_.end() ? nullptr : &found->second;
}

Difference difference(const Json& before, const Json& after) {
    Difference result;
    const auto add = [&](const std::string& table, const Json& operation) {
        result.operations.push_back(operation);
        result.tables.insert(table);
    };
    for (const auto& [table, unused] : after.items()) {
        const auto oldRows = byId(before.value(table, Json::array()));
        const auto newRows = byId(after[table]);
        for (const auto& [id, row] : oldRows) {
            if (newRows.count(id) == 0) {
                add(table, Database::removal(table, static_cast<int>(id)));
            }
        }
        for (const auto& [id, row] : newRows) {
            const auto old = oldRows.find(id);
            if (old == oldRows.end()) {
                add(table, Database::insertion(table, row));
            } else if (const Json columns = changedColumns(old->second, row); !columns.empty()) {
                add(table, Database::updating(table, static_cast<int>(id), columns));
            }
        }
    }
    return result;
}

} // namespace e2e::model
