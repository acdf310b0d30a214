// WAN up and WAN down with the real tools, as the kernel sees it.
#include "labtest.h"

#include <algorithm>

namespace lab {

namespace {

using ::testing::HasSubstr;

class WanTest : public LabTest, public ::testing::WithParamInterface<const char*> {};

std::string withoutDashes(const ::testing::TestParamInfo<const char*>& example) {
    std::string name = example.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Examples, WanTest, ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"),
                         withoutDashes);

TEST_P(WanTest, DownRestoresWhatWasBeforeUp) {
    buildGateway(e2e::exampleGateway(GetParam()));
    startDaemon();
    const std::string before = gatewayState();

    bringUp();
    EXPECT_NE(difference(before, gatewayState()), "");
    takeDown();
    EXPECT_EQ(difference(before, gatewayState()), "");
    expectNoErrors();
}

} // namespace

} // namespace lab
