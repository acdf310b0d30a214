#include "ovsdb/schema.h"

#include <array>
#include <limits>
#include <sstream>
#include <utility>

namespace ovsdb {

namespace {

constexpr std::array<std::pair<const char*, AtomType>, 5> atomTypes = {{
    {"integer", AtomType::integer},
    {"real", AtomType::real},
    {"boolean", AtomType::boolean},
    {"string", AtomType::string},
    {"uuid", AtomType::uuid},
}};

AtomType parseAtomType(const Json& json) {
    const std::string& name = json.get_ref<const std::string&>();
    for (const auto& [text, type] : atomTypes) {
        if (name == text) {
            return type;
        }
    }
    throw ProtocolError("a schema with the unknown type '" + name + "'");
}

// Json::get() would convert 1e30, too, and to no number in particular.
template <typename Number>
Number wholeNumber(const Json& json) {
    if (json.is_number_unsigned() && std::in_range<Number>(json.get<unsigned long long>())) {
        return static_cast<Number>(json.get<unsigned long long>());
    }
    if (json.is_number_integer() && !json.is_number_unsigned() &&
        std::in_range<Number>(json.get<long long>())) {
        return static_cast<Number>(json.get<long long>());
    }
    throw ProtocolError("a schema with " + toText(json) + " where a whole number from " +
                        std::to_string(std::numeric_limits<Number>::min()) + " to " +
                        std::to_string(std::numeric_limits<Number>::max()) + " belongs");
}

template <typename Number>
std::optional<Number> optionalWholeNumber(const Json& json, const char* member) {
    const auto found = json.find(member);
    return found == json.end() ? std::nullopt : std::optional<Number>(wholeNumber<Number>(*found));
}

std::optional<double> optionalReal(const Json& json, const char* member) {
    const auto found = json.find(member);
    return found == json.end() ? std::nullopt : std::optional<double>(found->get<double>());
}

// ["set", [...]] or a single atom.
std::vector<Json> parseEnum(const Json& json) {
    if (json.is_array()) {
        return json.at(1).get<std::vector<Json>>();
    }
    return {json};
}

BaseType parseBaseType(const Json& json) {
    BaseType base;
    if (json.is_string()) {
        base.type = parseAtomType(json);
        return base;
    }
    base.type = parseAtomType(json.at("type"));
    base.minInteger = optionalWholeNumber<long long>(json, "minInteger");
    base.maxInteger = optionalWholeNumber<long long>(json, "maxInteger");
    base.minReal = optionalReal(json, "minReal");
    base.maxReal = optionalReal(json, "maxReal");
    base.minLength = optionalWholeNumber<unsigned long long>(json, "minLength");
    base.maxLength = optionalWholeNumber<unsigned long long>(json, "maxLength");
    base.refTable = json.value("refTable", std::string());
    if (const auto allowed = json.find("enum"); allowed != json.end()) {
        base.allowed = parseEnum(*allowed);
    }
    return base;
}

ColumnType parseColumnType(const Json& json) {
    ColumnType type;
    if (json.is_string()) {
        type.key = parseBaseType(json);
        return type;
    }
    type.key = parseBaseType(json.at("key"));
    if (const auto value = json.find("value"); value != json.end()) {
        type.value = parseBaseType(*value);
    }
    type.min = optionalWholeNumber<unsigned>(json, "min").value_or(1);
    if (const auto max = json.find("max"); max != json.end()) {
        type.max = max->is_string() ? ColumnType::unlimited : wholeNumber<unsigned>(*max);
    }
    return type;
}

TableSchema parseTable(const Json& json) {
    TableSchema table;
    for (const auto& [name, column] : json.at("columns").items()) {
        table.columns.emplace(name, parseColumnType(column.at("type")));
    }
    table.indexes = json.value("indexes", std::vector<std::vector<std::string>>());
    return table;
}

template <typename T>
void describeRange(std::ostream& out, const std::optional<T>& min, const std::optional<T>& max) {
    if (min && max) {
        out << " from " << *min << " to " << *max;
    } else if (min) {
        out << " of at least " << *min;
    } else if (max) {
        out << " of at most " << *max;
    }
}

} // namespace

const char* toText(AtomType type) {
    for (const auto& [text, each] : atomTypes) {
        if (each == type) {
            return text;
        }
    }
    return "";
}

std::string BaseType::describe() const {
    std::ostringstream out;
    if (!allowed.empty()) {
        out << "one of";
        const char* separator = " ";
        for (const Json& each : allowed) {
            out << separator << toText(each);
            separator = ", ";
        }
        return out.str();
    }
    switch (type) {
    case AtomType::integer:
        out << "an integer";
        describeRange(out, minInteger, maxInteger);
        break;
    case AtomType::real:
        out << "a number";
        describeRange(out, minReal, maxReal);
        break;
    case AtomType::boolean:
        out << "true or false";
        break;
    case AtomType::uuid:
        out << "a uuid";
        break;
    case AtomType::string:
        out << "a text";
        if (minLength || maxLength) {
            describeRange(out, minLength, maxLength);
            out << " characters";
        }
        break;
    }
    return out.str();
}

const TableSchema* DatabaseSchema::findTable(const std::string& table) const {
    const auto found = tables.find(table);
    return found == tables.end() ? nullptr : &found->second;
}

const ColumnType* DatabaseSchema::findColumn(const std::string& table, const std::string& column) const {
    const TableSchema* owner = findTable(table);
    if (owner == nullptr) {
        return nullptr;
    }
    const auto found = owner->columns.find(column);
    return found == owner->columns.end() ? nullptr : &found->second;
}

DatabaseSchema DatabaseSchema::parse(const Json& json) {
    try {
        DatabaseSchema schema;
        schema.name = json.at("name").get<std::string>();
        schema.version = json.value("version", std::string());
        for (const auto& [name, table] : json.at("tables").items()) {
            schema.tables.emplace(name, parseTable(table));
        }
        return schema;
    } catch (const Json::exception& error) {
        throw ProtocolError(std::string("a schema that cannot be read: ") + error.what());
    }
}

} // namespace ovsdb
