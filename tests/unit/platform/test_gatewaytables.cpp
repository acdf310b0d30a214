#include "zel/gatewaytables.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using zel::cfg::ColumnClass;
using zel::cfg::GatewayColumn;
using zel::cfg::GatewayTable;
using zel::cfg::gatewayTables;

ColumnClass classOf(const std::string& table, const std::string& column) {
    for (const GatewayTable& each : gatewayTables()) {
        for (const GatewayColumn& one : each.columns) {
            if (table == each.name && column == one.name) {
                return one.kind;
            }
        }
    }
    ADD_FAILURE() << "no column " << table << "." << column;
    return ColumnClass::number;
}

TEST(GatewayTables, names_the_seven_tables_in_watched_order) {
    std::vector<std::string> names;
    for (const GatewayTable& table : gatewayTables()) {
        names.emplace_back(table.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"NetworkSetupNode", "StatusDsl", "StatusNetifWatchLogical",
                                               "QoSShaper", "QoSQueues", "QoSClassificationAction",
                                               "QoSClassification"}));
}

TEST(GatewayTables, every_table_has_a_numeric_Id_and_no_column_twice) {
    for (const GatewayTable& table : gatewayTables()) {
        EXPECT_EQ(classOf(table.name, "Id"), ColumnClass::number) << table.name;
        std::set<std::string> names;
        for (const GatewayColumn& column : table.columns) {
            EXPECT_TRUE(names.insert(column.name).second) << table.name << "." << column.name;
        }
    }
}

// The texts that reach a command line.
TEST(GatewayTables, knows_which_texts_become_part_of_a_command) {
    EXPECT_EQ(classOf("NetworkSetupNode", "InterfaceName"), ColumnClass::interfaceName);
    EXPECT_EQ(classOf("StatusNetifWatchLogical", "Interface"), ColumnClass::interfaceName);
    EXPECT_EQ(classOf("QoSShaper", "InterfaceName"), ColumnClass::interfaceName);
    for (const char* column : {"Name", "DestIP", "SourceIP", "DestPortRange", "SourcePortRange"}) {
        EXPECT_EQ(classOf("QoSClassification", column), ColumnClass::word) << column;
    }
    EXPECT_EQ(classOf("StatusDsl", "StatusString"), ColumnClass::freeText);
    EXPECT_EQ(classOf("NetworkSetupNode", "ParentInterface"), ColumnClass::freeText) << "only leads to a row";
    EXPECT_EQ(classOf("QoSClassification", "DSCPMatch"), ColumnClass::number) << "-1 is no option there";
}

TEST(GatewayTables, finds_tables_and_columns_by_name) {
    EXPECT_STREQ(zel::cfg::findGatewayColumn("QoSShaper", "ShapingRate")->name, "ShapingRate");
    EXPECT_EQ(zel::cfg::findGatewayColumn("QoSShaper", "Name"), nullptr);
    EXPECT_EQ(zel::cfg::findGatewayColumn("Shaper", "Id"), nullptr);
    EXPECT_EQ(zel::cfg::findGatewayTable("qosshaper"), nullptr);
}

} // namespace
