#include "ovsdb/transaction.h"

#include <utility>

namespace ovsdb {

namespace {

// nullptr if there is no such text.
const std::string* textOf(const Json& object, const char* member) {
    if (!object.is_object()) {
        return nullptr;
    }
    const auto found = object.find(member);
    return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

} // namespace

Json condition(const std::string& column, const char* function, Json value) {
    return Json::array({column, function, std::move(value)});
}

Json isRow(const std::string& uuid) {
    return condition("_uuid", "==", Json::array({"uuid", uuid}));
}

void Transaction::comment(const std::string& text) {
    operations_.push_back({{"op", "comment"}, {"comment", text}});
}

void Transaction::insert(const std::string& table, Json row) {
    operations_.push_back({{"op", "insert"}, {"table", table}, {"row", std::move(row)}});
}

void Transaction::update(const std::string& table, Json where, Json row) {
    operations_.push_back(
        {{"op", "update"}, {"table", table}, {"where", std::move(where)}, {"row", std::move(row)}});
}

void Transaction::remove(const std::string& table, Json where) {
    operations_.push_back({{"op", "delete"}, {"table", table}, {"where", std::move(where)}});
}

void Transaction::select(const std::string& table, Json where) {
    operations_.push_back({{"op", "select"}, {"table", table}, {"where", std::move(where)}});
}

void Transaction::requireRow(const std::string& table, Json where) {
    operations_.push_back({{"op", "wait"},
                           {"table", table},
                           {"timeout", 0},
                           {"where", std::move(where)},
                           {"columns", Json::array({"_uuid"})},
                           {"until", "!="},
                           {"rows", Json::array()}});
}

TransactError findError(const Json& results) {
    if (!results.is_array()) {
        throw ProtocolError("an answer to a transaction that cannot be read");
    }
    for (std::size_t i = 0; i < results.size(); ++i) {
        const Json& result = results[i];
        if (const std::string* word = textOf(result, "error")) {
            const std::string* details = textOf(result, "details");
            return {*word, details == nullptr ? std::string() : *details, i};
        }
    }
    return {};
}

std::size_t countOf(const Json& results, std::size_t operation) {
    if (!results.is_array() || operation >= results.size() || !results[operation].is_object()) {
        return 0;
    }
    const auto count = results[operation].find("count");
    return count != results[operation].end() && count->is_number_unsigned() ? count->get<std::size_t>() : 0;
}

} // namespace ovsdb
