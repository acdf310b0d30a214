#include "config/columnrules.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace gateway {

namespace {

using ovsdb::AtomType;
using ovsdb::BaseType;
using ovsdb::ColumnType;

// Shown values are cut here, so that a message stays a line.
constexpr std::size_t maxShown = 60;

// A byte of a UTF-8 character other than its first.
bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string shown(const Json& value) {
    if (isEmptySet(value)) {
        return "nothing";
    }
    std::string text = ovsdb::toText(value);
    if (text.size() <= maxShown) {
        return text;
    }
    std::size_t cut = maxShown;
    while (cut > 0 && isContinuation(text[cut])) {
        --cut;
    }
    return text.substr(0, cut) + "...";
}

// As the database counts them: characters, not bytes.
std::size_t characters(const std::string& text) {
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

// Whether the JSON value is one of the type at all. A real may be written without a fraction.
bool hasType(AtomType type, const Json& value) {
    switch (type) {
    case AtomType::integer:
        return value.is_number_integer() &&
               (!value.is_number_unsigned() || value.get<unsigned long long>() <= 0x7FFF'FFFF'FFFF'FFFFULL);
    case AtomType::real:
        return value.is_number();
    case AtomType::boolean:
        return value.is_boolean();
    case AtomType::string:
        return value.is_string();
    case AtomType::uuid:
        return value.is_array();
    }
    return false;
}

const char* withArticle(AtomType type) {
    switch (type) {
    case AtomType::integer:
        return "an integer";
    case AtomType::real:
        return "a number";
    case AtomType::boolean:
        return "true or false";
    case AtomType::string:
        return "a text";
    case AtomType::uuid:
        break;
    }
    return "a uuid";
}

template <typename T, typename Bound>
bool within(T value, const std::optional<Bound>& min, const std::optional<Bound>& max) {
    return (!min || value >= *min) && (!max || value <= *max);
}

bool inRange(const BaseType& type, const Json& value) {
    if (!type.allowed.empty()) {
        return std::find(type.allowed.begin(), type.allowed.end(), value) != type.allowed.end();
    }
    switch (type.type) {
    case AtomType::integer:
        return within(value.get<long long>(), type.minInteger, type.maxInteger);
    case AtomType::real:
        return within(value.get<double>(), type.minReal, type.maxReal);
    case AtomType::string:
        return within(characters(value.get_ref<const std::string&>()), type.minLength, type.maxLength);
    default:
        return true;
    }
}

template <typename T>
std::optional<Json> wholeNumber(const std::string& text) {
    T number = {};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<Json>(number) : std::nullopt;
}

} // namespace

bool isUtf8(const std::string& text) {
    try {
        (void)Json(text).dump(); // checks it
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

std::string allowedText(const ColumnType& type) {
    if (!type.isScalar()) {
        return type.isMap() ? "a map as the database writes it" : "a set as the database writes it";
    }
    return type.key.describe() + (type.isOptional() ? ", or nothing" : "");
}

std::optional<Json> defaultDatum(const std::string& column, const ColumnType& type) {
    if (type.isOptional()) {
        return type.isMap() ? Json::array({"map", Json::array()}) : emptySet();
    }
    if (!type.isScalar() || column == "Enable") {
        return std::nullopt;
    }
    Json value;
    switch (type.key.type) {
    case AtomType::integer:
        value = 0;
        break;
    case AtomType::real:
        value = 0.0;
        break;
    case AtomType::boolean:
        value = false;
        break;
    case AtomType::string:
        value = "";
        break;
    case AtomType::uuid:
        return std::nullopt;
    }
    return inRange(type.key, value) ? std::optional<Json>(value) : std::nullopt;
}

std::string whyNotAllowed(const ColumnType& type, const Json& value) {
    if (type.isOptional() && isEmptySet(value)) {
        return "";
    }
    if (!type.isScalar()) {
        return value.is_array() ? "" : shown(value) + " is not allowed";
    }
    if (!hasType(type.key.type, value)) {
        return shown(value) + " is not " + withArticle(type.key.type);
    }
    if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        if (!isUtf8(text)) {
            return shown(value) + " is not UTF-8";
        }
        if (text.find('\0') != std::string::npos) {
            return shown(value) + " holds a null character, which the database cannot store";
        }
    }
    return inRange(type.key, value) ? "" : shown(value) + " is not allowed";
}

std::optional<Json> fromText(const ColumnType& type, const std::string& text) {
    if (text.empty() && type.isOptional()) {
        return defaultDatum("", type);
    }
    if (!type.isScalar()) {
        Json value = Json::parse(text, nullptr, false);
        return value.is_array() ? std::optional<Json>(std::move(value)) : std::nullopt;
    }
    switch (type.key.type) {
    case AtomType::integer:
        return wholeNumber<long long>(text);
    case AtomType::real:
        return wholeNumber<double>(text);
    case AtomType::boolean:
        if (text == "true" || text == "false") {
            return Json(text == "true");
        }
        return std::nullopt;
    case AtomType::string:
        return Json(text);
    case AtomType::uuid:
        return Json::array({"uuid", text});
    }
    return std::nullopt;
}

std::string toText(const Json& datum) {
    if (isEmptySet(datum)) {
        return "";
    }
    return datum.is_string() ? datum.get<std::string>() : ovsdb::toText(datum);
}

bool isEmptySet(const Json& datum) {
    return datum.is_array() && datum.size() == 2 && datum[0] == "set" && datum[1].empty();
}

Json emptySet() {
    return Json::array({"set", Json::array()});
}

} // namespace gateway
