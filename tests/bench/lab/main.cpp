// Usage: lab_bench FOLDER [classification|shaping|priority|sharing|undo|tool-cost|growth|whole-wan]...
//
// As pacerd_bench, but inside a run of the lab: it starts itself again in there. Needs root.
#include "../report.h"
#include "benches.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const bench::Measurements benches = {
    {"classification", bench::classification},
    {"shaping", bench::shaping},
    {"priority", bench::priority},
    {"sharing", bench::sharing},
    {"undo", bench::undo},
    {"tool-cost", bench::toolCost},
    {"growth", bench::growth},
    {"whole-wan", bench::wholeWan},
};

// Does not return unless it fails.
void continueInLab(const std::string& folder, const std::vector<std::string>& names) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<const char*> words = {
        BENCH_LAB,          "-g", "none",         "-b",  BENCH_PROGRAM_FOLDER, "-s",          "standin", "-k",
        BENCH_BUILD_FOLDER, "-k", folder.c_str(), "run", self.c_str(),         folder.c_str()};
    for (const std::string& name : names) {
        words.push_back(name.c_str());
    }
    words.push_back(nullptr);
    execv(words.front(), const_cast<char**>(words.data()));
    std::perror(words.front());
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: lab_bench FOLDER [NAME]...\n");
        return 2;
    }
    const std::vector<std::string> names(argv + 2, argv + argc);
    try {
        std::filesystem::create_directories(argv[1]);
        const std::string folder = std::filesystem::canonical(argv[1]);
        if (std::getenv("LAB_RUN") == nullptr) {
            continueInLab(folder, names);
            return 1;
        }
        bench::measure(benches, folder, names);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lab_bench: %s\n", error.what());
        return 1;
    }
}
