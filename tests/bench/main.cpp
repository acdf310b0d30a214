// Usage: pacerd_bench FOLDER [wan-up|latency|processor-time|footprint]...
//
// Writes FOLDER/NAME.json for each measurement. Status 0 also when a target is missed: a busy machine is no
// broken program. Status 1 if something could not be measured.
#include "benches.h"
#include "privatemachine.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::vector<std::pair<std::string, std::function<int(const std::string&)>>> benches = {
    {"wan-up", bench::wanUp},
    {"latency", bench::latency},
    {"processor-time", bench::processorTime},
    {"footprint", bench::footprint},
};

bool isWanted(const std::string& name, const std::vector<std::string>& names) {
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: pacerd_bench FOLDER [wan-up|latency|processor-time|footprint]...\n");
        return 2;
    }
    try {
        std::filesystem::create_directories(argv[1]);
        const std::string folder = std::filesystem::canonical(argv[1]);
        e2e::enterPrivateMachine({BENCH_BUILD_FOLDER, BENCH_SOURCE_FOLDER, folder});
        int missed = 0;
        for (const auto& [name, measure] : benches) {
            if (isWanted(name, {argv + 2, argv + argc})) {
                missed += measure(folder);
            }
        }
        std::printf(missed == 0 ? "every target met\n" : "%d targets MISSED\n", missed);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pacerd_bench: %s\n", error.what());
        return 1;
    }
}
