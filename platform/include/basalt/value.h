// One value of a database column, and the type it was stored with.
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <variant>

namespace basalt {

// The stored type of a value. The codes are those of the gateway's database; readers that must tell a number
// from a text (a DSCP that may be stored as either) compare getTypeCode() with them.
class IDataType {
  public:
    static constexpr int noneCode = 0;
    static constexpr int integerCode = 2;
    static constexpr int textCode = 4;

    IDataType() = default;
    IDataType(const IDataType&) = delete;
    IDataType& operator=(const IDataType&) = delete;
    virtual ~IDataType() = default;

    virtual int getTypeCode() const = 0;
    virtual const char* getTypeName() const = 0;
};

namespace detail {

class FixedDataType final : public IDataType {
  public:
    FixedDataType(int code, const char* name) : code_(code), name_(name) {}

    int getTypeCode() const override { return code_; }
    const char* getTypeName() const override { return name_; }

  private:
    int code_;
    const char* name_;
};

// The number a text begins with, read as std::stoll reads it; 0 if it begins with none or with one that does
// not fit.
inline long long leadingNumber(const std::string& text) noexcept {
    try {
        return std::stoll(text);
    } catch (const std::exception&) {
        return 0;
    }
}

} // namespace detail

// A number, a text, or nothing. Reading never fails: a number reads as text in decimal, a text reads as the
// number it begins with (0 if it begins with none), nothing reads as 0 and as the empty text.
class Value {
  public:
    Value() = default;
    explicit Value(long long number) : content_(number) {}
    explicit Value(std::string text) : content_(std::move(text)) {}

    const IDataType& getDataType() const {
        static const detail::FixedDataType none(IDataType::noneCode, "none");
        static const detail::FixedDataType integer(IDataType::integerCode, "integer");
        static const detail::FixedDataType text(IDataType::textCode, "text");
        if (std::holds_alternative<long long>(content_)) {
            return integer;
        }
        return std::holds_alternative<std::string>(content_) ? static_cast<const IDataType&>(text) : none;
    }

    // 64 bits, as wide as the database stores them.
    long long getInteger() const {
        if (const auto* number = std::get_if<long long>(&content_)) {
            return *number;
        }
        const auto* text = std::get_if<std::string>(&content_);
        return text != nullptr ? detail::leadingNumber(*text) : 0;
    }

    std::string getText() const {
        if (const auto* text = std::get_if<std::string>(&content_)) {
            return *text;
        }
        const auto* number = std::get_if<long long>(&content_);
        return number != nullptr ? std::to_string(*number) : std::string();
    }

    friend bool operator==(const Value&, const Value&) = default;

  private:
    std::variant<std::monostate, long long, std::string> content_;
};

} // namespace basalt
