// docs/database.md says the same as the schema.

#include "config/columnrules.h"
#include "config/rowtext.h"
#include "sharefiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using gateway::Json;
using ::testing::ElementsAreArray;

struct PageColumn {
    std::string name;
    std::string range;
    std::string unit;
    std::string defaultValue;
    std::string example;
    std::string meaning;
};

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

// The cells of "| a | b |".
std::vector<std::string> cells(const std::string& line) {
    std::vector<std::string> result;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        result.push_back(trimmed(cell));
    }
    return result;
}

// The page's tables, by the heading above them.
std::map<std::string, std::vector<PageColumn>> readPage() {
    std::map<std::string, std::vector<PageColumn>> page;
    std::string heading;
    std::istringstream stream(gateway::test::readSourceFile("docs/database.md"));
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("## ")) {
            heading = line.substr(3);
        } else if (line.starts_with("| ") && !line.starts_with("| ---") && !line.starts_with("| Column")) {
            const std::vector<std::string> cell = cells(line);
            EXPECT_EQ(cell.size(), 6U) << line;
            if (cell.size() == 6) {
                page[heading].push_back({cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]});
            }
        }
    }
    return page;
}

std::string defaultText(const std::string& column, const ovsdb::ColumnType& type) {
    const auto value = gateway::defaultDatum(column, type);
    if (!value) {
        return "required";
    }
    if (gateway::isEmptySet(*value)) {
        return "nothing";
    }
    return gateway::toText(*value).empty() ? "empty" : gateway::toText(*value);
}

TEST(DatabasePage, HasEveryTableAndEveryColumnInTheOrderOfTheProgram) {
    const ovsdb::DatabaseSchema schema = gateway::test::schema();
    const auto page = readPage();
    EXPECT_EQ(page.size(), schema.tables.size());
    for (const auto& [name, table] : schema.tables) {
        ASSERT_EQ(page.count(name), 1U) << name;
        std::vector<std::string> columns;
        for (const PageColumn& column : page.at(name)) {
            columns.push_back(column.name);
        }
        EXPECT_THAT(columns, ElementsAreArray(gateway::columnOrder(name, table))) << name;
    }
}

TEST(DatabasePage, SaysWhatTheSchemaAllowsAndWhatAColumnHoldsByDefault) {
    const ovsdb::DatabaseSchema schema = gateway::test::schema();
    for (const auto& [name, columns] : readPage()) {
        for (const PageColumn& column : columns) {
            const ovsdb::ColumnType* type = schema.findColumn(name, column.name);
            ASSERT_NE(type, nullptr) << name << "." << column.name;
            EXPECT_EQ(column.range, gateway::allowedText(*type)) << name << "." << column.name;
            EXPECT_EQ(column.defaultValue, defaultText(column.name, *type)) << name << "." << column.name;
        }
    }
}

TEST(DatabasePage, ExplainsEachColumnAndGivesAnExampleThatIsAllowed) {
    const ovsdb::DatabaseSchema schema = gateway::test::schema();
    for (const auto& [name, columns] : readPage()) {
        for (const PageColumn& column : columns) {
            const ovsdb::ColumnType* type = schema.findColumn(name, column.name);
            ASSERT_NE(type, nullptr) << name << "." << column.name;
            const auto example = gateway::fromText(*type, column.example);
            ASSERT_TRUE(example && !gateway::isEmptySet(*example)) << name << "." << column.name;
            EXPECT_EQ(gateway::whyNotAllowed(*type, *example), "") << name << "." << column.name;
            EXPECT_GT(column.meaning.size(), 10U) << name << "." << column.name;
        }
    }
}

} // namespace
