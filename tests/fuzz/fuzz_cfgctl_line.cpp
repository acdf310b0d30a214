// What cfgctl's set, add and del are told, a word a line: refused in lines that say why, or something that
// can be sent, says what was said, and brings the shell nothing.
#include "cfgctl/failure.h"
#include "cfgctl/rowwords.h"
#include "input.h"
#include "shippedschema.h"
#include "zel/wordrule.h"

#include <algorithm>
#include <vector>

namespace {

using cfgctl::Assignments;
using ovsdb::Json;

void checkValues(const std::string& table, const Assignments& said, const Json& values) {
    for (const auto& [name, value] : values.items()) {
        const zel::cfg::GatewayColumn* column = zel::cfg::findGatewayColumn(table, name);
        fuzz::require(
            column != nullptr &&
                (!value.is_string() || zel::cfg::whyNoWord(column->kind, value.get<std::string>()).empty()),
            "a word is one", name);
    }
    for (const auto& [column, text] : said) {
        fuzz::require(values.contains(column), "a value is for its column", column);
        const Json& value = values[column];
        fuzz::require(!value.is_string() || value == text, "a text is taken as it is", text);
    }
    (void)values.dump(); // as it is sent
}

std::vector<std::string> wordsOf(fuzz::Input& input) {
    std::vector<std::string> words;
    while (!input.empty()) {
        words.push_back(input.line());
    }
    return words;
}

void follow(const std::string& command, fuzz::Input& input) {
    const ovsdb::DatabaseSchema& schema = fuzz::shippedSchema();
    const std::string table = input.line();
    if (command == "add") {
        const Assignments values = cfgctl::parseAssignments(wordsOf(input));
        const Json row = cfgctl::rowOf(schema, table, values);
        fuzz::require(row.size() == schema.findTable(table)->columns.size(), "a row has every column");
        checkValues(table, values, row);
        return;
    }
    const std::string key = input.line();
    const Assignments values = cfgctl::parseAssignments(wordsOf(input));
    if (const auto conditions =
            cfgctl::conditionsOf(schema, table, cfgctl::parseAssignments({key}).front())) {
        (void)conditions->dump();
    }
    const Json changes = cfgctl::changesOf(schema, table, values);
    fuzz::require(changes.size() == values.size(), "nothing is added");
    checkValues(table, values, changes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string command = input.line();
    try {
        follow(command, input);
    } catch (const cfgctl::Failure& failure) {
        fuzz::require(!failure.lines().empty(), "a failure is explained");
        for (const std::string& line : failure.lines()) {
            fuzz::require(!line.empty() && std::none_of(line.begin(), line.end(),
                                                        [](char c) { return c >= '\0' && c < ' '; }),
                          "an explanation is a line", line);
        }
    }
    return 0;
}
