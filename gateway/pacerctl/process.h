// Running another program and reading what it writes, without a shell.
#pragma once

#include <string>
#include <vector>

namespace pacerctl {

struct ProcessResult {
    std::string output;  // what it wrote to standard output
    std::string failure; // "is not in PATH", "exits with status 1"; empty: it ended well
};

// The first word is looked up in PATH. Standard error is the caller's; standard input is empty, or `input`. A
// program that takes longer than ten seconds, or writes more than 64 MiB, is ended.
ProcessResult runProcess(const std::vector<std::string>& words, const std::string& input = "");

} // namespace pacerctl
