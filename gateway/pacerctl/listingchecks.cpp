#include "pacerctl/listingchecks.h"

#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <sstream>

// The linker's names for the wrapped function and the library's own.
extern "C" {
int __wrap_system(const char* line); // NOLINT(bugprone-reserved-identifier)
int __real_system(const char* line); // NOLINT(bugprone-reserved-identifier)
}

namespace pacerctl {

namespace {

constexpr int failed = 1 << 8; // exit status 1, as wait(2) encodes it

ListingChecks*& current() {
    static ListingChecks* checks = nullptr;
    return checks;
}

} // namespace

bool isListingCheck(const std::string& line) {
    static const std::string word = "[A-Za-z0-9._:/,+@%=][A-Za-z0-9._:/,+@%=-]*";
    static const std::regex forms[] = {
        std::regex("qcfg --queue -Lall -i" + word + "( -tingress)? \\| grep -qw " + word),
        std::regex("classcfg -Lall -i" + word + " \\| grep -qw " + word),
        std::regex("ifcfg --ifmap -L \\| grep -q \"(CAT|INGGRP) [0-9]+\\.\\*" + word + "\\.\\*\""),
    };
    for (const std::regex& form : forms) {
        if (std::regex_match(line, form)) {
            return true;
        }
    }
    return false;
}

std::string findInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path == nullptr ? "" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string file = (directory.empty() ? "." : directory) + "/" + program;
        if (::access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return "";
}

ListingChecks::ListingChecks(CheckMode mode) : mode_(mode), outer_(current()) {
    current() = this;
}

ListingChecks::~ListingChecks() {
    current() = outer_;
}

int ListingChecks::answer(const std::string& line) {
    if (!isListingCheck(line)) {
        refused.push_back(line);
        return failed;
    }
    if (mode_ == CheckMode::assumeAbsent) {
        return failed;
    }
    const std::string tool = line.substr(0, line.find(' '));
    if (missingTools.count(tool) != 0 || findInPath(tool).empty()) {
        missingTools.insert(tool);
        return failed;
    }
    ++runCount;
    return __real_system(line.c_str());
}

} // namespace pacerctl

int __wrap_system(const char* line) {
    pacerctl::ListingChecks* checks = pacerctl::current();
    return checks == nullptr || line == nullptr ? pacerctl::failed : checks->answer(line);
}
