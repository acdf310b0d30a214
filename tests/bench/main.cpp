// Usage: pacerd_bench FOLDER [wan-up|latency|processor-time|footprint]...
//
// Writes FOLDER/NAME.json for each measurement. Status 0 also when a target is missed: a busy machine is no
// broken program. Status 1 if something could not be measured.
#include "benches.h"
#include "privatemachine.h"
#include "report.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const bench::Measurements benches = {
    {"wan-up", bench::wanUp},
    {"latency", bench::latency},
    {"processor-time", bench::processorTime},
    {"footprint", bench::footprint},
};

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
        bench::measure(benches, folder, {argv + 2, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pacerd_bench: %s\n", error.what());
        return 1;
    }
}
