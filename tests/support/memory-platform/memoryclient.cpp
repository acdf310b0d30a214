#include "memoryclient.h"

#include <algorithm>
#include <utility>

namespace zel::memory {

namespace {

using basalt::ValueList;
using basalt::protocol::EResultCode;

Rows* findTable(Tables& tables, const std::string& name) {
    const auto found = tables.find(name);
    return found == tables.end() ? nullptr : &found->second;
}

bool hasKey(const ValueList& row, const std::string& column, const std::string& value) {
    return row.hasValue(column) && row.getValue(column).getText() == value;
}

void assign(ValueList& row, const ValueList& values) {
    for (const auto& [name, value] : values) {
        row.setValue(name, value);
    }
}

ValueList selected(const ValueList& row, const cfg::common::IConfigClient::ColumnNames& columns) {
    if (columns.empty()) {
        return row;
    }
    ValueList result;
    for (const std::string& column : columns) {
        if (row.hasValue(column)) {
            result.setValue(column, row.getValue(column));
        }
    }
    return result;
}

} // namespace

void sortById(Rows& rows) {
    std::stable_sort(rows.begin(), rows.end(), [](const ValueList& left, const ValueList& right) {
        return left.getValue("Id").getInteger() < right.getValue("Id").getInteger();
    });
}

EResultCode MemoryClient::write(Write change) const {
    if (active_) {
        collected_.push_back(std::move(change));
        return EResultCode::done;
    }
    return change(tables_);
}

EResultCode MemoryClient::updateKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue, const ValueList& values) const {
    return write([=](Tables& tables) -> EResultCode {
        bool found = false;
        if (Rows* rows = findTable(tables, table)) {
            for (ValueList& row : *rows) {
                if (hasKey(row, keyColumn, keyValue)) {
                    assign(row, values);
                    found = true;
                }
            }
            sortById(*rows);
        }
        return found ? EResultCode::done : EResultCode::nothingThere;
    });
}

EResultCode MemoryClient::updateRow(const std::string& table, unsigned index, const ValueList& values) const {
    return write([=](Tables& tables) -> EResultCode {
        Rows* rows = findTable(tables, table);
        if (rows == nullptr || index >= rows->size()) {
            return EResultCode::nothingThere;
        }
        assign((*rows)[index], values);
        sortById(*rows);
        return EResultCode::done;
    });
}

EResultCode MemoryClient::insertRow(const std::string& table, const ValueList& values) const {
    return write([=](Tables& tables) -> EResultCode {
        Rows* rows = findTable(tables, table);
        if (rows == nullptr) {
            return EResultCode::nothingThere;
        }
        rows->push_back(values);
        sortById(*rows);
        return EResultCode::done;
    });
}

EResultCode MemoryClient::deleteKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue) const {
    return write([=](Tables& tables) -> EResultCode {
        Rows* rows = findTable(tables, table);
        if (rows == nullptr) {
            return EResultCode::nothingThere;
        }
        const auto removed =
            std::erase_if(*rows, [&](const ValueList& row) { return hasKey(row, keyColumn, keyValue); });
        return removed > 0 ? EResultCode::done : EResultCode::nothingThere;
    });
}

EResultCode MemoryClient::deleteAll(const std::string& table) const {
    return write([=](Tables& tables) -> EResultCode {
        Rows* rows = findTable(tables, table);
        if (rows == nullptr) {
            return EResultCode::nothingThere;
        }
        rows->clear();
        return EResultCode::done;
    });
}

EResultCode MemoryClient::selectKey(const std::string& table, const std::string& keyColumn,
                                    const std::string& keyValue, const ColumnNames& columns,
                                    ValueList& row) const {
    if (const Rows* rows = findTable(tables_, table)) {
        for (const ValueList& candidate : *rows) {
            if (hasKey(candidate, keyColumn, keyValue)) {
                row = selected(candidate, columns);
                return EResultCode::done;
            }
        }
    }
    return EResultCode::nothingThere;
}

EResultCode MemoryClient::selectRow(const std::string& table, unsigned index, const ColumnNames& columns,
                                    ValueList& row) const {
    const Rows* rows = findTable(tables_, table);
    if (rows == nullptr || index >= rows->size()) {
        return EResultCode::nothingThere;
    }
    row = selected((*rows)[index], columns);
    return EResultCode::done;
}

EResultCode MemoryClient::size(const std::string& table, unsigned& count) const {
    const Rows* rows = findTable(tables_, table);
    if (rows == nullptr) {
        return EResultCode::nothingThere;
    }
    count = static_cast<unsigned>(rows->size());
    return EResultCode::done;
}

EResultCode MemoryClient::startTransaction() const {
    if (active_) {
        return EResultCode::invalidTransaction;
    }
    active_ = true;
    return EResultCode::done;
}

EResultCode MemoryClient::commitTransaction() const {
    if (!active_) {
        return EResultCode::invalidTransaction;
    }
    active_ = false;
    Tables changed = tables_;
    for (const Write& change : std::exchange(collected_, {})) {
        if (const EResultCode result = change(changed); result != EResultCode::done) {
            return result;
        }
    }
    tables_ = std::move(changed);
    return EResultCode::done;
}

EResultCode MemoryClient::rollbackTransaction() const {
    if (!active_) {
        return EResultCode::invalidTransaction;
    }
    active_ = false;
    collected_.clear();
    return EResultCode::done;
}

} // namespace zel::memory
