// JSON, as the whole client uses it.
#pragma once

#include "ovsdb/error.h"

#include <nlohmann/json.hpp>

#include <string>

namespace ovsdb {

using Json = nlohmann::json;

// Throws ProtocolError.
inline Json parseJson(const std::string& text) {
    Json value = Json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        throw ProtocolError("a message that is not JSON");
    }
    return value;
}

// A text for logs; bytes that are not UTF-8 are replaced.
inline std::string toText(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace ovsdb
