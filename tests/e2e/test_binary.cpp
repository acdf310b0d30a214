// What others rely on in the built program: tools that watch it preload these three names.
#include "gatewaytest.h"

namespace e2e {

namespace {

bool imports(const std::string& symbols, const std::string& name) {
    return symbols.find(" U " + name + "@") != std::string::npos ||
           symbols.find(" U " + name + "\n") != std::string::npos;
}

TEST(BinaryTest, CallsTheLibraryByTheseNames) {
    const Outcome symbols = run({"nm", "-D", programFolder() + "/pacerd_ng"});
    ASSERT_EQ(symbols.status, 0) << symbols.errors;
    for (const char* name : {"system", "usleep", "syslog"}) {
        EXPECT_TRUE(imports(symbols.output, name)) << name;
    }
    for (const char* name :
         {"__syslog_chk", "vsyslog", "__vsyslog_chk", "popen", "execve", "execvp", "posix_spawn"}) {
        EXPECT_FALSE(imports(symbols.output, name)) << name;
    }
}

TEST(BinaryTest, IsLinkedWithTheLibraryDynamically) {
    const Outcome needed = run({"readelf", "-d", programFolder() + "/pacerd_ng"});
    ASSERT_EQ(needed.status, 0) << needed.errors;
    EXPECT_THAT(needed.output, HasSubstr("[libc.so.6]"));
}

} // namespace

} // namespace e2e
