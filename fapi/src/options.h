// Command lines of the three tools: a table of the options a command knows, and the values found for them.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fapi {

enum class Arg { none, needed };

// Both spellings of a value are taken: "-iptm0" and "-i ptm0", "--pir=1" and "--pir 1".
struct OptionRule {
    std::string_view name; // with its dashes
    Arg arg;
    bool repeatable = false;
};

class Options {
  public:
    // Throws Usage on an unknown, repeated or incomplete option and on a stray word.
    Options(const std::vector<std::string>& words, std::initializer_list<OptionRule> rules);

    bool has(std::string_view name) const { return find(name) != nullptr; }
    const std::string* find(std::string_view name) const;
    // The value; throws Usage when the option is missing.
    const std::string& need(std::string_view name) const;

    // All options in the order of the command line.
    const std::vector<std::pair<std::string, std::string>>& all() const { return found_; }

  private:
    std::vector<std::pair<std::string, std::string>> found_;
};

enum class Operation { add, modify, remove, list };

// The one of -A, -M, -D and -L that is given; throws Usage unless exactly one is. known: those that the
// command has, for the error text.
Operation operationOf(const Options& options, const char* known = "-A, -M, -D and -L");
// The value of -A, -M or -D.
const std::string& objectOf(const Options& options, Operation operation);

} // namespace fapi
