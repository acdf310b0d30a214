#include "ovsdb/replica.h"

#include "ovsdb/datum.h"

#include <algorithm>
#include <optional>

namespace ovsdb {

namespace {

const std::string idColumn = "Id";

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

void ReplicaTable::apply(const Uuid& uuid, const basalt::ValueList* values, RowChange& change) {
    const auto row =
        std::find_if(rows_.begin(), rows_.end(), [&](const Row& each) { return each.uuid == uuid; });
    if (row != rows_.end()) {
        change.before = row->values;
        if (values != nullptr) {
            row->values = *values;
        } else {
            rows_.erase(row);
        }
    } else if (values != nullptr) {
        rows_.push_back({uuid, *values});
    }
    if (values != nullptr) {
        change.after = *values;
    }
}

void ReplicaTable::sort() {
    if (!std::is_sorted(rows_.begin(), rows_.end(), comesBefore)) {
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
        ReplicaTable* table;
        Uuid uuid;
        std::optional<basalt::ValueList> values;
    };
    std::vector<Pending> pending;
    std::vector<RowChange> changes;
    for (const auto& [name, rows] : object(updates).items()) {
        const auto table = tables_.find(name);
        if (table == tables_.end()) {
            continue;
        }
        for (const auto& [uuid, row] : object(rows).items()) {
            Pending next{&table->second, Uuid(uuid), std::nullopt};
            if (const auto wireRow = object(row).find("new"); wireRow != row.end()) {
                basalt::ValueList values = toRow(object(*wireRow));
                if (!guard || guard(name, values)) {
                    next.values = std::move(values);
                }
            }
            pending.push_back(std::move(next));
            changes.push_back({name, uuid, {}, {}});
        }
    }
    // From here on nothing fails.
    std::set<ReplicaTable*> touched;
    for (std::size_t i = 0; i < pending.size(); ++i) {
        pending[i].table->apply(pending[i].uuid, pending[i].values ? &*pending[i].values : nullptr,
                                changes[i]);
        touched.insert(pending[i].table);
    }
    for (ReplicaTable* table : touched) {
        table->sort();
    }
    return changes;
}

} // namespace ovsdb
