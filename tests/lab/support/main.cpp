// Every test process runs inside a run of the lab of its own, without a gateway at first.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// Does not return unless it fails.
void continueInLab(const std::vector<std::string>& arguments) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<const char*> words = {LAB_FOLDER "/lab", "-g",  "none",      "-b", LAB_PROGRAM_FOLDER, "-k",
                                      LAB_BUILD_FOLDER,  "run", self.c_str()};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    words.push_back(nullptr);
    execv(words.front(), const_cast<char**>(words.data()));
    std::perror(words.front());
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc); // GoogleTest takes its own out of argv
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests) && std::getenv("LAB_RUN") == nullptr) {
        continueInLab(arguments);
        return 1;
    }
    return RUN_ALL_TESTS();
}
