// What the manual, the JSON page and the shell completion say against what the program has.
#include "goldengateways.h"
#include "pacerctl/cli.h"
#include "pacerctl/lint/lint.h"
#include "pacerctl/report.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

namespace pacerctl {

namespace {

const char* const subcommands[] = {"plan", "lint", "explain", "status", "verify", "top", "metrics", "graph"};

std::string contentOf(const std::string& name) {
    std::ifstream stream(std::string(PACERD_SOURCE_DIR "/") + name, std::ios::binary);
    EXPECT_TRUE(stream.good()) << name;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Without the notation for hyphens and fonts.
std::string manual() {
    std::string text = std::regex_replace(contentOf("docs/man/pacerctl.1"), std::regex("\\\\-"), "-");
    return std::regex_replace(text, std::regex("\\\\f."), "");
}

std::string output(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    run(arguments, out, err, false);
    return out.str();
}

std::set<std::string> optionsOf(const std::string& command) {
    const std::string help = output({command, "--help"});
    static const std::regex option("--[a-z-]+");
    return {std::sregex_token_iterator(help.begin(), help.end(), option), std::sregex_token_iterator()};
}

void collectKeys(const Json& json, std::set<std::string>& keys) {
    for (const auto& [key, value] : json.items()) {
        if (json.is_object()) {
            keys.insert(key);
        }
        if (value.is_structured()) {
            collectKeys(value, keys);
        }
    }
}

TEST(Manual, NamesEveryCommandAndOption) {
    const std::string text = manual();
    for (const std::string command : subcommands) {
        EXPECT_TRUE(has(text, "\n.SS " + command + "\n")) << command;
        for (const std::string& option : optionsOf(command)) {
            EXPECT_TRUE(option == "--help" || text.find(option) != std::string::npos)
                << command << " " << option;
        }
    }
}

TEST(Manual, NamesEveryCheckOfLintWithItsSeverity) {
    const std::string text = manual();
    for (const LintCheck& check : lintChecks()) {
        EXPECT_TRUE(
            has(text, "\n.BR " + std::string(check.id) + " \" (\" " + nameOf(check.severity) + " )\n"))
            << check.id;
    }
}

TEST(Completion, KnowsEveryCommandAndOption) {
    const std::string text = contentOf("packaging/completions/pacerctl");
    for (const std::string command : subcommands) {
        EXPECT_TRUE(std::regex_search(text, std::regex("\\| " + command + "\\b|" + command + " \\|")))
            << command;
        for (const std::string& option : optionsOf(command)) {
            EXPECT_TRUE(has(text, option)) << command << " " << option;
        }
    }
}

TEST(JsonPage, NamesEveryMember) {
    const test::GoldenGateways gateways;
    gateways.apply("dsl-tripleplay");
    const std::string text = contentOf("docs/pacerctl-json.md");
    const std::string up = "dsl-tripleplay-up.json";
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"plan", "--no-checks", "--json", "--file", "broken.json"},
             {"lint", "--json", "--file", "broken.json"},
             {"lint", "--list", "--json"},
             {"explain", "--json", "--file", up, "--in", "br0", "--proto", "udp", "--dport", "3478"},
             {"status", "--json", "--file", up},
             {"verify", "--json", "--file", "dsl-tripleplay.json"},
             {"top", "--json", "--once", "--interval", "0.1", "--file", up},
             {"metrics", "--json", "--file", up},
             {"graph", "--json", "--file", up}}) {
        std::set<std::string> keys;
        collectKeys(Json::parse(output(arguments)), keys);
        EXPECT_GT(keys.size(), 4U);
        for (const std::string& key : keys) {
            EXPECT_TRUE(has(text, "`" + key + "`")) << arguments[0] << " " << key;
        }
    }
}

} // namespace

} // namespace pacerctl
