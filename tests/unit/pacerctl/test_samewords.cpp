// Which words a row may hold is asked in three places: before the daemon's replica, by cfgctl before it
// writes, and by pacerctl lint. They must agree.
#include "config/rowchecker.h"
#include "e2e/support/hostiletexts.h"
#include "pacerctl/lint/lint.h"
#include "zel/gatewaytables.h"
#include "zel/rowgate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace pacerctl {

namespace {

using zel::cfg::ColumnClass;
using zel::cfg::GatewayColumn;
using zel::cfg::GatewayTable;

std::vector<std::string> textsToAsk() {
    std::vector<std::string> texts = e2e::hostileTexts();
    for (const std::size_t length : {0U, 1U, 14U, 15U, 16U, 17U, 62U, 63U, 64U, 65U, 66U}) {
        texts.emplace_back(length, '7');
    }
    for (const char* harmless :
         {"eth0.7", "2001:db8::/32", "10.0.0.0/8", "80:443", "a+b", "a@b", "a%b", "a=b", "a,b", "a-b"}) {
        texts.emplace_back(harmless);
    }
    return texts;
}

// The seven tables without what the shipped schema asks of values besides their type.
const ovsdb::DatabaseSchema& looseSchema() {
    static const ovsdb::DatabaseSchema schema = [] {
        ovsdb::Json json = {{"name", "Gateway"}, {"version", "1.0.0"}};
        for (const GatewayTable& table : zel::cfg::gatewayTables()) {
            for (const GatewayColumn& column : table.columns) {
                json["tables"][table.name]["columns"][column.name]["type"] =
                    column.kind == ColumnClass::number ? "integer" : "string";
            }
        }
        return ovsdb::DatabaseSchema::parse(json);
    }();
    return schema;
}

// With nothing in it but the word: cfgctl asks for some columns to be named.
gateway::FileRow fileRow(const GatewayTable& table, const GatewayColumn& column, const std::string& text) {
    gateway::FileRow row;
    for (const GatewayColumn& each : table.columns) {
        row.emplace_back(each.name, each.kind == ColumnClass::number ? ovsdb::Json(0) : ovsdb::Json(""));
        if (each.name == column.name) {
            row.back().second = text;
        }
    }
    return row;
}

basalt::ValueList rowWith(const GatewayColumn& column, const std::string& text, long long id) {
    basalt::ValueList row;
    row.setValue("Id", basalt::Value(id));
    row.setValue(column.name, basalt::Value(text));
    return row;
}

bool replicaTakes(const GatewayTable& table, const GatewayColumn& column, const std::string& text) {
    return zel::cfg::RowGate(0).admits(table.name, "uuid", rowWith(column, text, 1));
}

bool cfgctlTakes(const GatewayTable& table, const GatewayColumn& column, const std::string& text) {
    gateway::Complaints complaints;
    gateway::checkFile(looseSchema(), {{table.name, {fileRow(table, column, text)}}}, "file", complaints);
    return complaints.empty();
}

// Whether each of the texts is taken, all of them asked for at once: rows 1, 2, ... of one table.
std::vector<bool> lintTakes(const GatewayTable& table, const GatewayColumn& column,
                            const std::vector<std::string>& texts) {
    Rows rows;
    for (const std::string& text : texts) {
        rows.push_back(rowWith(column, text, static_cast<long long>(rows.size()) + 1));
    }
    Snapshot snapshot;
    snapshot.setTable(table.name, rows);
    std::vector<bool> takes(texts.size(), true);
    for (const Finding& finding : lint(snapshot)) {
        if (finding.column == column.name &&
            finding.why.ends_with("for the daemon this row does not exist")) {
            takes.at(static_cast<std::size_t>(finding.rowId) - 1) = false;
        }
    }
    return takes;
}

TEST(SameWords, AreTakenByTheReplicaByCfgctlAndByLint) {
    std::size_t columns = 0;
    std::size_t taken = 0;
    const std::vector<std::string> texts = textsToAsk();
    for (const GatewayTable& table : zel::cfg::gatewayTables()) {
        for (const GatewayColumn& column : table.columns) {
            if (!isWord(column.kind)) {
                continue;
            }
            ++columns;
            const std::vector<bool> byLint = lintTakes(table, column, texts);
            for (std::size_t i = 0; i < texts.size(); ++i) {
                const std::string& text = texts[i];
                const bool expected = replicaTakes(table, column, text);
                taken += expected ? 1U : 0U;
                EXPECT_EQ(cfgctlTakes(table, column, text), expected)
                    << "cfgctl, " << table.name << '.' << column.name << ": " << text;
                EXPECT_EQ(byLint[i], expected)
                    << "lint, " << table.name << '.' << column.name << ": " << text;
            }
        }
    }
    EXPECT_EQ(columns, 8U);
    // Of the lengths 9 for each of the 5 words and 4 for each of the 3 interface names, and all that is
    // harmless.
    EXPECT_EQ(taken, 5U * 9U + 3U * 4U + 8U * 10U);
}

} // namespace

} // namespace pacerctl
