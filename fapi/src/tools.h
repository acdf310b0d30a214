// The three programs. Each takes the words after the program's name and returns the exit status.
#pragma once

#include <string>
#include <vector>

namespace fapi {

using Words = std::vector<std::string>;

// What the error line names: set as soon as it is known.
struct Subject {
    std::string text;
};

void ifcfg(const Words& words, Subject& subject);
void qcfg(const Words& words, Subject& subject);
void classcfg(const Words& words, Subject& subject);

// One line on standard error: the change was made, but not all of it could be.
void warn(const char* tool, const Subject& subject, const std::string& what);

// Warns of what went on beside the change: state that was lost, and what the kernel had to say.
class Session;
void tell(const char* tool, const Subject& subject, Session& session);

// True for the words "--show --json"; throws Usage when --show comes with anything else.
bool wantsShow(const Words& words);

int run(const std::string& tool, const Words& words);

} // namespace fapi
