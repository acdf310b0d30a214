#include "ovsdb/datum.h"

#include <charconv>

namespace ovsdb {

namespace {

using basalt::IDataType;
using basalt::Value;

// A pair such as ["set", [...]], ["uuid", "..."].
bool isTagged(const Json& datum, const char* tag) {
    return datum.is_array() && datum.size() == 2 && datum[0].is_string() &&
           datum[0].get_ref<const std::string&>() == tag;
}

Value atomToValue(const Json& atom) {
    switch (atom.type()) {
    case Json::value_t::string:
        return Value(atom.get<std::string>());
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return Value(atom.get<long long>());
    case Json::value_t::boolean:
        return Value(atom.get<bool>() ? 1LL : 0LL);
    case Json::value_t::number_float:
        return Value(toText(atom));
    case Json::value_t::array:
        if (isTagged(atom, "uuid") || isTagged(atom, "named-uuid")) {
            return Value(toText(atom));
        }
        break;
    default:
        break;
    }
    throw ProtocolError("a column value that is none: " + toText(atom).substr(0, 40));
}

template <typename T>
std::optional<T> parseWhole(const std::string& text) {
    T number = {};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<T>(number) : std::nullopt;
}

std::optional<Json> toAtom(AtomType type, const Value& value) {
    const std::string text = value.getText();
    switch (type) {
    case AtomType::string:
        return Json(text);
    case AtomType::integer:
        if (const auto number = parseWhole<long long>(text)) {
            return Json(*number);
        }
        return std::nullopt;
    case AtomType::real:
        if (const auto number = parseWhole<double>(text)) {
            return Json(*number);
        }
        return std::nullopt;
    case AtomType::boolean:
        if (text == "0" || text == "1") {
            return Json(text == "1");
        }
        return std::nullopt;
    case AtomType::uuid: {
        Json tagged = Json::parse(text, nullptr, false);
        return isTagged(tagged, "uuid") ? tagged : Json::array({"uuid", text});
    }
    }
    return std::nullopt;
}

} // namespace

std::optional<Value> toValue(const Json& datum) {
    if (isTagged(datum, "set")) {
        const Json& elements = datum[1];
        if (!elements.is_array()) {
            throw ProtocolError("a set that is none");
        }
        if (elements.empty()) {
            return std::nullopt;
        }
        return elements.size() == 1 ? atomToValue(elements[0]) : Value(toText(datum));
    }
    if (isTagged(datum, "map")) {
        return Value(toText(datum));
    }
    return atomToValue(datum);
}

std::optional<Json> toDatum(const ColumnType& type, const Value& value) {
    if (value.getDataType().getTypeCode() == IDataType::noneCode) {
        return Json::array({"set", Json::array()});
    }
    if (!type.isScalar()) {
        Json collection = Json::parse(value.getText(), nullptr, false);
        if (isTagged(collection, type.isMap() ? "map" : "set")) {
            return collection;
        }
        if (type.isMap()) {
            return std::nullopt;
        }
    }
    return toAtom(type.key.type, value);
}

} // namespace ovsdb
