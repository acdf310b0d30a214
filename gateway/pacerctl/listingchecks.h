// What happens to the shell lines that the daemon's classes run while a plan is made.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace pacerctl {

enum class CheckMode {
    run,         // ask the FAPI tools whether an object exists already
    assumeAbsent // take it that nothing is configured yet
};

// The program is linked so that system() ends up here (-Wl,--wrap=system). While an object of this class
// lives, a line is run only if it is one of the listing checks, with nothing in it that a shell would
// interpret. Every other line, and every line while there is none, is answered as failed and not run.
class ListingChecks {
  public:
    explicit ListingChecks(CheckMode mode);
    ListingChecks(const ListingChecks&) = delete;
    ListingChecks& operator=(const ListingChecks&) = delete;
    ~ListingChecks();

    // As system() answers.
    int answer(const std::string& line);

    std::size_t runCount = 0;
    std::set<std::string> missingTools; // not in PATH, so that nothing can be configured through them
    std::vector<std::string> refused;   // lines that are no listing check

  private:
    CheckMode mode_;
    ListingChecks* outer_;
};

// The exact form of the daemon's existence checks, made of harmless words.
bool isListingCheck(const std::string& line);

// The absolute path of an executable in PATH; empty if there is none.
std::string findInPath(const std::string& program);

} // namespace pacerctl
