// Takes a fuzzer's bytes apart, and ends the program where something is not as it must be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz {

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return rest_.empty(); }
    std::string_view rest() const { return rest_; }

    // 0 at the end.
    std::uint8_t byte() {
        const auto value = static_cast<std::uint8_t>(rest_.empty() ? 0 : rest_.front());
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return value;
    }

    std::string bytes(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return std::string(taken);
    }

    // Up to the next line end, or all.
    std::string line() {
        const std::size_t end = rest_.find('\n');
        const std::string text(rest_.substr(0, end));
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return text;
    }

  private:
    std::string_view rest_;
};

inline void require(bool condition, const char* what, const std::string& detail = "") {
    if (!condition) {
        std::fprintf(stderr, "must hold: %s\n%s\n", what, detail.c_str());
        std::abort();
    }
}

} // namespace fuzz
