#include "ovsdb/datum.h"

#include <charconv>
#include <climits>
#include <cmath>

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
    case Json::value_t::number_unsigned:
        if (atom.get<unsigned long long>() > LLONG_MAX) {
            return Value(toText(atom)); // a real without a fraction
        }
        [[fallthrough]];
    case Json::value_t::number_integer:
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

// The server drops a connection over a text that is not UTF-8 or holds a zero byte.
bool isTransmissible(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        return false;
    }
    try {
        Json(text).dump();
        return true;
    } catch (const Json::exception&) {
        return false;
    }
}

std::optional<Json> toReal(const std::string& text) {
    constexpr double exactIntegers = 9007199254740992.0; // 2^53
    const auto number = parseWhole<double>(text);
    if (!number || !std::isfinite(*number)) {
        return std::nullopt;
    }
    if (std::trunc(*number) == *number && std::fabs(*number) < exactIntegers) {
        return Json(static_cast<long long>(*number)); // the server's own notation for 2.0 is 2
    }
    return Json(*number);
}

std::optional<Json> toAtom(AtomType type, const std::string& text) {
    switch (type) {
    case AtomType::string:
        return isTransmissible(text) ? std::optional<Json>(text) : std::nullopt;
    case AtomType::integer: {
        const auto number = parseWhole<long long>(text);
        return number ? std::optional<Json>(*number) : std::nullopt;
    }
    case AtomType::real:
        return toReal(text);
    case AtomType::boolean:
        return text == "0" || text == "1" ? std::optional<Json>(text == "1") : std::nullopt;
    case AtomType::uuid: {
        Json tagged = Json::parse(text, nullptr, false);
        return isTagged(tagged, "uuid") ? std::optional<Json>(std::move(tagged)) : std::nullopt;
    }
    }
    return std::nullopt;
}

} // namespace

Json emptySet() {
    return Json::array({"set", Json::array()});
}

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
        return type.isOptional() ? std::optional<Json>(emptySet()) : std::nullopt;
    }
    const std::string text = value.getText();
    if (!type.isScalar()) {
        Json collection = Json::parse(text, nullptr, false);
        if (isTagged(collection, type.isMap() ? "map" : "set")) {
            return text.find("\\u0000") == std::string::npos ? std::optional<Json>(std::move(collection))
                                                             : std::nullopt;
        }
        if (type.isMap()) {
            return std::nullopt;
        }
    }
    return toAtom(type.key.type, text);
}

} // namespace ovsdb
