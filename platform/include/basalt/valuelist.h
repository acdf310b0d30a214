// A database row: column names and values.
#pragma once

#include <basalt/value.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace basalt {

// An ordered list of (column name, value) pairs, each name at most once. Copies share their entries until one
// of them is changed, so that handing out a row costs a pointer. A column that is absent from the row reads
// as an empty Value: the integer 0 and the empty text.
class ValueList {
  public:
    using Entry = std::pair<std::string, Value>;
    using const_iterator = std::vector<Entry>::const_iterator;

    ValueList() = default;
    explicit ValueList(std::vector<Entry> entries)
        : entries_(std::make_shared<std::vector<Entry>>(std::move(entries))) {}

    // The reference is valid until this list is changed or destroyed.
    const Value& getValue(const std::string& name) const {
        static const Value absent;
        for (const Entry& entry : *this) {
            if (entry.first == name) {
                return entry.second;
            }
        }
        return absent;
    }

    bool hasValue(const std::string& name) const {
        for (const Entry& entry : *this) {
            if (entry.first == name) {
                return true;
            }
        }
        return false;
    }

    // Replaces the value of that name or appends it.
    void setValue(const std::string& name, Value value) {
        std::vector<Entry>& own = detach();
        for (Entry& entry : own) {
            if (entry.first == name) {
                entry.second = std::move(value);
                return;
            }
        }
        own.emplace_back(name, std::move(value));
    }

    void clear() { entries_.reset(); }
    bool empty() const { return entries_ == nullptr || entries_->empty(); }
    std::size_t size() const { return entries_ == nullptr ? 0 : entries_->size(); }

    const_iterator begin() const { return content().begin(); }
    const_iterator end() const { return content().end(); }

    friend bool operator==(const ValueList& left, const ValueList& right) {
        return left.content() == right.content();
    }

  private:
    const std::vector<Entry>& content() const {
        static const std::vector<Entry> none;
        return entries_ == nullptr ? none : *entries_;
    }

    std::vector<Entry>& detach() {
        if (entries_ == nullptr || entries_.use_count() > 1) {
            entries_ = std::make_shared<std::vector<Entry>>(content());
        }
        return *entries_;
    }

    std::shared_ptr<std::vector<Entry>> entries_;
};

} // namespace basalt
