#include "config/rowtext.h"

#include "config/columnrules.h"
#include "zel/gatewaytables.h"

#include <algorithm>
#include <set>
#include <utility>

namespace gateway {

namespace {

using basalt::Value;
using basalt::ValueList;

// `known` names as far as they are keys of `present`, then its other keys.
template <typename Map>
std::vector<std::string> ordered(std::vector<std::string> known, const Map& present) {
    std::erase_if(known, [&present](const std::string& name) { return present.count(name) == 0; });
    const std::set<std::string> done(known.begin(), known.end());
    for (const auto& [name, entry] : present) {
        if (done.count(name) == 0) {
            known.push_back(name);
        }
    }
    return known;
}

long long idOf(const Json& row) {
    const auto id = row.find("Id");
    return id != row.end() && id->is_number_integer() ? id->get<long long>() : 0;
}

std::string valueText(const Value& value) {
    switch (value.getDataType().getTypeCode()) {
    case basalt::IDataType::integerCode:
        return value.getText();
    case basalt::IDataType::textCode:
        return ovsdb::toText(Json(value.getText()));
    default:
        return "nothing";
    }
}

std::string listed(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? " " : ", ") + item;
    }
    return text;
}

std::string changedText(const ValueList& before, const ValueList& after) {
    std::vector<std::string> items;
    for (const auto& [column, value] : after) {
        if (value != before.getValue(column)) {
            items.push_back(column + ": " + valueText(before.getValue(column)) + " -> " + valueText(value));
        }
    }
    for (const auto& [column, value] : before) {
        if (!after.hasValue(column)) {
            items.push_back(column + ": " + valueText(value) + " -> nothing");
        }
    }
    return listed(items);
}

std::string contentText(const ValueList& row) {
    std::vector<std::string> items;
    for (const auto& [column, value] : row) {
        if (column != "Id") {
            items.push_back(column + ": " + valueText(value));
        }
    }
    return listed(items);
}

} // namespace

std::vector<std::string> tableOrder(const ovsdb::DatabaseSchema& schema) {
    std::vector<std::string> known;
    for (const zel::cfg::GatewayTable& table : zel::cfg::gatewayTables()) {
        known.emplace_back(table.name);
    }
    return ordered(std::move(known), schema.tables);
}

std::vector<std::string> columnOrder(const std::string& name, const ovsdb::TableSchema& table) {
    std::vector<std::string> known;
    for (const zel::cfg::GatewayTable& candidate : zel::cfg::gatewayTables()) {
        if (name == candidate.name) {
            for (const zel::cfg::GatewayColumn& column : candidate.columns) {
                known.emplace_back(column.name);
            }
        }
    }
    return ordered(std::move(known), table.columns);
}

FileRow toFileRow(const std::vector<std::string>& columns, const Json& row) {
    FileRow result;
    for (const std::string& column : columns) {
        const auto value = row.find(column);
        if (value != row.end() && !isEmptySet(*value)) {
            result.emplace_back(column, *value);
        }
    }
    return result;
}

void sortById(std::vector<Json>& rows) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Json& left, const Json& right) { return idOf(left) < idOf(right); });
}

std::string changeText(const ovsdb::RowChange& change) {
    const ValueList& known = change.after.empty() ? change.before : change.after;
    const std::string head = change.table + " Id=" + known.getValue("Id").getText();
    if (change.after.empty()) {
        return head + " removed";
    }
    if (change.before.empty()) {
        return head + " added" + contentText(change.after);
    }
    return head + " changed" + changedText(change.before, change.after);
}

} // namespace gateway
