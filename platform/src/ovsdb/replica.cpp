#include "ovsdb/replica.h"

#include "ovsdb/datum.h"

#include <algorithm>
#include <optional>

namespace ovsdb {

namespace {

constexpr const char* idColumn = "Id";

// The order of a table: by the number in "Id", then by its text for tables that number their rows otherwise,
// then by identity, so that the order never depends on the server's.
bool comesBefore(const Row& left, const Row& right) {
    const basalt::Value& leftId = left.values.getValue(idColumn);
    const basalt::Value& rightId = right.values.getValue(idColumn);
    const long long leftNumber = leftId.getInteger();
    const long long rightNumber = rightId.getInteger();
    if (leftNumber != rightNumber) {
        return leftNumber < rightNumber;
    }
    if (!(leftId == rightId)) {
        return leftId.getText() < rightId.getText();
    }
    return left.uuid < right.uuid;
}

basalt::ValueList toRow(const Json& wireRow) {
    std::vector<basalt::ValueList::Entry> entries;
    entries.reserve(wireRow.size());
    for (const auto& [column, datum] : wireRow.items()) {
        if (auto value = toValue(datum)) {
            entries.emplace_back(column, std::move(*value));
        }
    }
    return basalt::ValueList(std::move(entries));
}

const Json& object(const Json& json) {
    if (!json.is_object()) {
        throw ProtocolError("an update that cannot be read");
    }
    return json;
}

// What a row is after an update; nothing if it is gone or not let in.
std::optional<basalt::ValueList> newValues(const std::string& table, const std::string& uuid,
                                           const Json& update, const RowGuard& guard) {
    const auto wireRow = object(update).find("new");
    const bool gone = wireRow == update.end();
    basalt::ValueList values = gone ? basalt::ValueList() : toRow(object(*wireRow));
    const bool admitted = !guard || guard(table, uuid, values);
    return admitted && !gone ? std::optional(std::move(values)) : std::nullopt;
}

} // namespace

Uuid::Uuid(std::string_view text) {
    if (text.size() != characters_.size()) {
        throw ProtocolError("a row without a proper identity");
    }
    std::copy(text.begin(), text.end(), characters_.begin());
}

ReplicaTable::ReplicaTable(const TableSchema& schema) {
    for (const auto& column : schema.columns) {
        columns_.insert(column.first);
    }
}

const Row* ReplicaTable::findFirst(const std::string& column, const std::string& text) const {
    auto index = indexes_.find(column);
    if (index == indexes_.end()) {
        index = indexes_.emplace(column, Index()).first;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            index->second.emplace(rows_[i].values.getValue(column).getText(), i); // keeps the first
        }
    }
    const auto found = index->second.find(text);
    return found == index->second.end() ? nullptr : &rows_[found->second];
}

// `updates` are in ascending uuid. One pass over the rows, whatever the number of updates.
void ReplicaTable::apply(std::vector<Update>& updates, RowChange* changes) {
    bool ordered = true;
    const auto takeUpdate = [&](Row& row) { // false: the row is gone
        const auto update =
            std::lower_bound(updates.begin(), updates.end(), row.uuid,
                             [](const Update& each, const Uuid& uuid) { return each.uuid < uuid; });
        if (update == updates.end() || update->uuid != row.uuid) {
            return true;
        }
        update->done = true;
        RowChange& change = changes[update - updates.begin()];
        change.before = std::move(row.values);
        if (!update->values) {
            return false;
        }
        ordered = ordered && change.before.getValue(idColumn) == update->values->getValue(idColumn);
        row.values = std::move(*update->values);
        change.after = row.values;
        return true;
    };
    auto kept = rows_.begin();
    for (Row& row : rows_) {
        if (takeUpdate(row)) {
            if (&*kept != &row) {
                *kept = std::move(row);
            }
            ++kept;
        }
    }
    rows_.erase(kept, rows_.end());
    for (Update& update : updates) {
        if (!update.done && update.values) {
            changes[&update - updates.data()].after = *update.values;
            rows_.push_back({update.uuid, std::move(*update.values)});
            ordered = false;
        }
    }
    if (!ordered) {
        std::sort(rows_.begin(), rows_.end(), comesBefore);
    }
    indexes_.clear();
}

Replica::Replica(const DatabaseSchema& schema, const std::vector<std::string>& tables) {
    for (const std::string& name : tables) {
        if (const TableSchema* table = schema.findTable(name)) {
            tables_.emplace(name, *table);
        }
    }
}

const ReplicaTable* Replica::find(const std::string& table) const {
    const auto found = tables_.find(table);
    return found == tables_.end() ? nullptr : &found->second;
}

std::vector<RowChange> Replica::apply(const Json& updates, const RowGuard& guard) {
    struct Pending {
        ReplicaTable& table;
        std::vector<ReplicaTable::Update> updates;
    };
    std::vector<Pending> pending;
    std::vector<RowChange> changes;
    for (const auto& [name, rows] : object(updates).items()) {
        const auto table = tables_.find(name);
        if (table == tables_.end()) {
            continue;
        }
        Pending& next = pending.emplace_back(Pending{table->second, {}});
        next.updates.reserve(object(rows).size());
        for (const auto& [uuid, row] : rows.items()) { // in ascending uuid, as the parser keeps its objects
            next.updates.push_back({Uuid(uuid), newValues(name, uuid, row, guard)});
            changes.push_back({name, uuid, {}, {}});
        }
        table->second.reserve(next.updates.size());
    }
    // From here on nothing fails.
    RowChange* first = changes.data();
    for (Pending& each : pending) {
        each.table.apply(each.updates, first);
        first += each.updates.size();
    }
    return changes;
}

} // namespace ovsdb
