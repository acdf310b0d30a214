#include "json.h"

#include <array>
#include <cstdio>

namespace fapi {

void Json::quoted(std::string_view value) {
    out_ += '"';
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            out_ += '\\';
        }
        if (static_cast<unsigned char>(c) < ' ') {
            std::array<char, 8> escape{};
            (void)snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            out_ += escape.data();
        } else {
            out_ += c;
        }
    }
    out_ += '"';
}

void Json::name(std::string_view key) {
    if (!first_) {
        out_ += ',';
    }
    first_ = false;
    if (!key.empty()) {
        quoted(key);
        out_ += ':';
    }
}

void Json::begin(std::string_view key, char bracket) {
    name(key);
    out_ += bracket;
    first_ = true;
}

void Json::end(char bracket) {
    out_ += bracket;
    first_ = false;
}

void Json::text(std::string_view key, std::string_view value) {
    name(key);
    quoted(value);
}

void Json::number(std::string_view key, uint64_t value) {
    name(key);
    out_ += std::to_string(value);
}

} // namespace fapi
