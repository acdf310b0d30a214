#include "world.h"

#include <cstdarg>
#include <cstdio>

namespace e2e::model {

namespace {

constexpr int selectKeyOperation = 7;
constexpr int selectRowOperation = 8;
constexpr int sizeOperation = 9;

} // namespace

void assertionFailed(const std::string& expression) {
    throw Fatal{"assertion failed: " + expression};
}

std::string form(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) {
        text = nullptr;
    }
    va_end(arguments);
    std::string result = text == nullptr ? "" : text;
    std::free(text);
    return result;
}

int World::shell(const std::string& command) {
    const int status = answers_.next(command);
    events_.push_back("run (" + std::to_string(status) + "): " + command);
    return status;
}

void World::permanentFailure(const std::string& table, int operation, const std::string& reason) {
    warning(form("DB access failed @table '%s', operation: '%d' (fail reason: %s), retry (%d)", table.c_str(),
                 operation, reason.c_str(), 1));
    error(form("DB access failed @table '%s', operation: %d (fail reason: %s), retry (%d)", table.c_str(),
               operation, reason.c_str(), 1));
}

std::optional<unsigned> World::size(const std::string& name) {
    const Table* table = snapshot_->find(name);
    if (table == nullptr) {
        permanentFailure(name, sizeOperation, "nothing there");
        return std::nullopt;
    }
    return static_cast<unsigned>(table->rows.size());
}

std::optional<Row> World::rowAt(const std::string& name, unsigned index) {
    const Table* table = snapshot_->find(name);
    if (table == nullptr || index >= table->rows.size()) {
        permanentFailure(name, selectRowOperation, "nothing there");
        return std::nullopt;
    }
    return table->rows[index];
}

std::optional<Row> World::rowWith(const std::string& name, const std::string& column,
                                  const std::string& value, bool mustExist) {
    const Table* table = snapshot_->find(name);
    if (table != nullptr && table->columns.count(column) == 0) {
        permanentFailure(name, selectKeyOperation, "unknown column");
        return std::nullopt;
    }
    if (table != nullptr) {
        for (const Row& row : table->rows) {
            if (row.has(column) && row.text(column) == value) {
                return row;
            }
        }
    }
    trace(form("selectkey on table '%s', key '%s', value '%s' failed with reason '%s'", name.c_str(),
               column.c_str(), value.c_str(), "nothing there"));
    if (mustExist) {
        trace(form("selectkey return with empty value on request: table '%s', '%s'=='%s'", name.c_str(),
                   column.c_str(), value.c_str()));
        return std::nullopt;
    }
    return Row();
}

} // namespace e2e::model
