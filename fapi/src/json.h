// Writing JSON: objects of plain members in arrays, which is all that the tools say.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace fapi {

class Json {
  public:
    void beginObject(std::string_view key = {}) { begin(key, '{'); }
    void endObject() { end('}'); }
    void beginArray(std::string_view key) { begin(key, '['); }
    void endArray() { end(']'); }
    void text(std::string_view key, std::string_view value);
    void number(std::string_view key, uint64_t value);

    const std::string& result() const { return out_; }

  private:
    void name(std::string_view key);
    void quoted(std::string_view value);
    void begin(std::string_view key, char bracket);
    void end(char bracket);

    std::string out_;
    bool first_ = true;
};

} // namespace fapi
