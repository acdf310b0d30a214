#include "options.h"

#include "failure.h"

#include <algorithm>

namespace fapi {

namespace {

struct Split {
    std::string_view name;
    std::string_view value;
    bool attached; // value stands in the same word
};

Split split(std::string_view word) {
    if (word.substr(0, 2) == "--") {
        const size_t equals = word.find('=');
        if (equals == std::string_view::npos) {
            return {word, {}, false};
        }
        return {word.substr(0, equals), word.substr(equals + 1), true};
    }
    return {word.substr(0, 2), word.size() > 2 ? word.substr(2) : std::string_view{}, word.size() > 2};
}

} // namespace

Options::Options(const std::vector<std::string>& words, std::initializer_list<OptionRule> rules) {
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word.size() < 2 || word[0] != '-') {
            throw Usage("unexpected word '" + word + "'");
        }
        const Split option = split(word);
        const auto* rule = std::find_if(rules.begin(), rules.end(),
                                        [&](const OptionRule& r) { return r.name == option.name; });
        if (rule == rules.end() || (option.attached && rule->arg == Arg::none)) {
            throw Usage("unknown option '" + word + "'");
        }
        if (!rule->repeatable && has(option.name)) {
            throw Usage("option " + std::string(option.name) + " given twice");
        }
        std::string value(option.value);
        if (rule->arg == Arg::needed && !option.attached) {
            if (i + 1 == words.size() || words[i + 1].empty() || words[i + 1][0] == '-') {
                throw Usage("option " + std::string(option.name) + " needs a value");
            }
            value = words[++i];
        }
        found_.emplace_back(option.name, value);
    }
}

const std::string* Options::find(std::string_view name) const {
    for (const auto& [key, value] : found_) {
        if (key == name) {
            return &value;
        }
    }
    return nullptr;
}

const std::string& Options::need(std::string_view name) const {
    const std::string* value = find(name);
    if (value == nullptr) {
        throw Usage("option " + std::string(name) + " is missing");
    }
    return *value;
}

Operation operationOf(const Options& options, const char* known) {
    constexpr std::pair<std::string_view, Operation> operations[] = {{"-A", Operation::add},
                                                                     {"-M", Operation::modify},
                                                                     {"-D", Operation::remove},
                                                                     {"-L", Operation::list}};
    const std::pair<std::string_view, Operation>* given = nullptr;
    for (const auto& operation : operations) {
        if (options.has(operation.first)) {
            if (given != nullptr) {
                throw Usage("options " + std::string(given->first) + " and " + std::string(operation.first) +
                            " exclude each other");
            }
            given = &operation;
        }
    }
    if (given == nullptr) {
        throw Usage(std::string("one of ") + known + " is needed");
    }
    return given->second;
}

const std::string& objectOf(const Options& options, Operation operation) {
    return options.need(operation == Operation::add ? "-A" : operation == Operation::modify ? "-M" : "-D");
}

} // namespace fapi
