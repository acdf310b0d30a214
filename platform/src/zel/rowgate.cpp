#include "zel/rowgate.h"

#include "zel/wordrule.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <functional>

namespace zel::cfg {

namespace {

// Rows that go while there is no connection leave their entry behind: a database that makes ever new ones
// must not fill the memory. Beyond this, what is known is reported again.
constexpr std::size_t mostRemembered = 10'000;

std::size_t hashOf(const basalt::ValueList& row) {
    std::string all;
    for (const auto& [column, value] : row) {
        all += column + '\0' + value.getText() + '\0';
    }
    return std::hash<std::string>()(all);
}

} // namespace

RowFault findFault(const std::string& table, const basalt::ValueList& row) {
    const GatewayTable* known = findGatewayTable(table);
    if (known == nullptr) {
        return {};
    }
    for (const GatewayColumn& column : known->columns) {
        std::string why =
            isWord(column.kind) ? whyNoWord(column.kind, row.getValue(column.name).getText()) : "";
        if (!why.empty()) {
            return {column.name, std::move(why)};
        }
    }
    return {};
}

bool RowGate::admits(const std::string& table, const std::string& uuid, const basalt::ValueList& row) {
    const RowFault fault = findFault(table, row);
    if (fault.column == nullptr) {
        refused_.erase({table, uuid});
        return true;
    }
    if (refused_.size() >= mostRemembered) {
        refused_.clear();
    }
    const std::size_t hash = hashOf(row);
    const auto [known, isNew] = refused_.try_emplace({table, uuid}, hash);
    if (isNew || known->second != hash) {
        known->second = hash;
        ZEL_Sysloglevel_error(log_, "rowgate.cpp", __LINE__,
                              VAStr("table '%s', row with Id %lld, counts as absent: column '%s' %s, and "
                                    "becomes part of a command "
                                    "line, which takes %s",
                                    table.c_str(), row.getValue("Id").getInteger(), fault.column,
                                    fault.why.c_str(),
                                    allowedWord(findGatewayColumn(table, fault.column)->kind).c_str()));
    }
    return false;
}

} // namespace zel::cfg
