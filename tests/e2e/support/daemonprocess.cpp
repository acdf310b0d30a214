#include "daemonprocess.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <regex>
#include <sstream>

namespace e2e {

namespace {

bool isChange(const std::string& command) {
    std::istringstream words(command);
    std::string word;
    for (int position = 0; position < 3 && words >> word; ++position) {
        if (word == "-A" || word == "-M" || word == "-D") {
            return true;
        }
    }
    return false;
}

template <typename Predicate>
std::vector<std::string> select(const std::vector<std::string>& lines, Predicate predicate) {
    std::vector<std::string> result;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(result), predicate);
    return result;
}

std::string nextBase() {
    static int count = 0;
    return "/tmp/daemon" + std::to_string(++count);
}

Command daemonCommand(std::vector<std::string> options, std::map<std::string, std::string> environment,
                      const std::string& base, const std::string& record) {
    options.insert(options.begin(), programFolder() + "/pacerd_ng");
    const char* path = std::getenv("PATH");
    environment.try_emplace("PATH",
                            toolsFolder() + ":" + (path == nullptr ? "/usr/bin:/bin" : std::string(path)));
    environment["PACERD_RECORD"] = record;
    return {std::move(options), std::move(environment), base + ".out", base + ".err"};
}

} // namespace

std::string programFolder() {
    return E2E_PROGRAM_FOLDER;
}

std::string toolsFolder() {
    return E2E_TOOLS_FOLDER;
}

std::vector<std::string> CommandRecord::all() const {
    return linesOf(readFile(file_));
}

std::vector<std::string> CommandRecord::changes() const {
    return select(all(), isChange);
}

std::vector<std::string> CommandRecord::listings() const {
    return select(all(), [](const std::string& command) { return !isChange(command); });
}

std::vector<std::string> CommandRecord::objects() const {
    return linesOf(readFile(file_ + ".objects"));
}

void CommandRecord::clear() const {
    writeFile(file_, "");
}

void CommandRecord::letFail(int number) const {
    writeFile(file_ + ".fail", std::to_string(number) + "\n");
}

Daemon::Daemon(std::vector<std::string> options, std::map<std::string, std::string> environment,
               const std::string& record)
    : base_(nextBase()), record_(record.empty() ? base_ + ".commands" : record),
      process_(daemonCommand(std::move(options), std::move(environment), base_, record_.file())) {}

std::vector<std::string> Daemon::foregroundMessages() const {
    static const std::regex shape(R"((error|warning|info|trace): [\w.]+:\d+: (.*))");
    std::vector<std::string> result;
    for (const std::string& line : linesOf(errors())) {
        std::smatch match;
        if (std::regex_match(line, match, shape)) {
            result.push_back(match[1].str() + ": " + match[2].str());
        }
    }
    return result;
}

int Daemon::stop(int number) {
    signal(number);
    return exitStatus();
}

} // namespace e2e
