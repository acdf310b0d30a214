// What cfgctl reads from files: taken apart, checked against the schema, written again.
#include "config/gatewayfile.h"
#include "config/rowchecker.h"
#include "input.h"
#include "shippedschema.h"
#include "zel/wordrule.h"

namespace {

// What was not complained about can be sent, and brings the shell nothing.
void checkRows(const gateway::CheckedTable& table) {
    for (const ovsdb::Json& row : table.rows) {
        fuzz::require(row.size() == fuzz::shippedSchema().findTable(table.name)->columns.size(),
                      "a row has every column");
        for (const auto& [name, value] : row.items()) {
            const zel::cfg::GatewayColumn* column = zel::cfg::findGatewayColumn(table.name, name);
            fuzz::require(column != nullptr &&
                              (!value.is_string() ||
                               zel::cfg::whyNoWord(column->kind, value.get<std::string>()).empty()),
                          "a word is one");
        }
        (void)row.dump(); // as it is sent
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    gateway::GatewayFile file;
    try {
        file = gateway::parseGatewayFile("fuzz", text);
    } catch (const gateway::FileError&) {
        return 0;
    }
    gateway::Complaints complaints;
    const auto tables = gateway::checkFile(fuzz::shippedSchema(), file, "fuzz", complaints);
    if (!complaints.empty()) {
        return 0;
    }
    for (const gateway::CheckedTable& table : tables) {
        checkRows(table);
    }
    const std::string written = gateway::writeGatewayFile(file);
    fuzz::require(gateway::writeGatewayFile(gateway::parseGatewayFile("again", written)) == written,
                  "what is written reads as the same", written);
    return 0;
}
