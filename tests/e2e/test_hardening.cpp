// What the compiler and the linker were asked to do is in the programs.
#include "gatewaytest.h"

#include <filesystem>
#include <iterator>

namespace e2e {

namespace {

#ifndef E2E_SANITIZED // sanitizers bring their own

std::string outputOf(const std::vector<std::string>& command) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    return outcome.output;
}

constexpr const char* loaded[] = {"pacerd_ng", "cfgctl", "netwatchd", "pacerctl"};
constexpr const char* linkedStatically = "qcfg";

class HardeningTest : public ::testing::TestWithParam<const char*> {
  protected:
    const std::string program = programFolder() + "/" + GetParam();
};

INSTANTIATE_TEST_SUITE_P(Program, HardeningTest, ::testing::ValuesIn(loaded),
                         [](const auto& name) { return std::string(name.param); });

TEST_P(HardeningTest, LoadsAnywhereAndItsTablesCannotBeWritten) {
    const std::string dynamic = outputOf({"readelf", "-dW", program});
    EXPECT_THAT(dynamic, HasSubstr("BIND_NOW"));
    EXPECT_THAT(dynamic, HasSubstr("NOW PIE"));
    const std::string segments = outputOf({"readelf", "-lW", program});
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(segments, ::testing::ContainsRegex("GNU_STACK .* RW  0x"));
}

TEST_P(HardeningTest, ChecksItsStackItsBuffersAndItsContainers) {
    const std::string symbols = outputOf({"nm", "-D", program});
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail"));
    EXPECT_THAT(symbols, HasSubstr("__glibcxx_assert_fail"));
    EXPECT_THAT(symbols, HasSubstr("_chk@")) << "_FORTIFY_SOURCE";
}

// The C library, which is in there too, has checks of its own whatever we ask for.
bool callsFromOurs(const std::string& program, const std::string& function) {
    bool ours = false;
    for (const std::string& line : linesOf(outputOf({"objdump", "-d", "--no-show-raw-insn", program}))) {
        if (line.ends_with(">:")) {
            ours = line.find("4fapi") != std::string::npos; // the namespace, in a mangled name
        } else if (ours && line.find("<" + function + ">") != std::string::npos) {
            return true;
        }
    }
    return false;
}

// Linked statically and to a fixed place: it is started for each object, and loading would take longer than
// its work.
TEST(HardeningOfTheToolsTest, ChecksItsStackItsBuffersAndItsContainersAndItsTablesCannotBeWritten) {
    const std::string tool = programFolder() + "/" + linkedStatically;
    const std::string segments = outputOf({"readelf", "-lW", tool});
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(segments, ::testing::ContainsRegex("GNU_STACK .* RW  0x"));
    const std::string symbols = outputOf({"nm", tool});
    EXPECT_TRUE(callsFromOurs(tool, "__stack_chk_fail"));
    EXPECT_THAT(symbols, HasSubstr("__glibcxx_assert_fail"));
    EXPECT_THAT(symbols, HasSubstr("printf_chk")) << "_FORTIFY_SOURCE";
}

// The names of the compiled programs and libraries that the build installs; classcfg and ifcfg are links to
// qcfg.
Texts installedPrograms() {
    const std::string folder = "/tmp/installed";
    outputOf({"env", "DESTDIR=" + folder, "cmake", "-P", E2E_BUILD_FOLDER "/cmake_install.cmake"});
    Texts names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_symlink() && entry.is_regular_file() && readFile(entry.path()).starts_with("\177ELF")) {
            names.push_back(entry.path().filename());
        }
    }
    std::filesystem::remove_all(folder);
    return names;
}

// And ./run builds them for the packages.
TEST(HardeningOfTheToolsTest, NoInstalledProgramIsLeftOut) {
    Texts known(std::begin(loaded), std::end(loaded));
    known.emplace_back(linkedStatically);
    EXPECT_THAT(installedPrograms(), ::testing::UnorderedElementsAreArray(known));
    std::string list;
    for (const std::string& name : known) {
        list += (list.empty() ? "" : " ") + name;
    }
    EXPECT_THAT(readFile(E2E_SOURCE_FOLDER "/run"), HasSubstr("\nINSTALLED=\"" + list + "\"\n"));
}

#endif

} // namespace

} // namespace e2e
