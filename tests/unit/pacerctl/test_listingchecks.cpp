#include "fakepath.h"
#include "pacerctl/listingchecks.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace pacerctl {

namespace {

TEST(ListingCheck, IsRecognisedInTheDaemonsForms) {
    EXPECT_TRUE(isListingCheck("qcfg --queue -Lall -iptm0 | grep -qw ptm0_q3"));
    EXPECT_TRUE(isListingCheck("qcfg --queue -Lall -iptm0.7 -tingress | grep -qw ptm0.7_q3_ing"));
    EXPECT_TRUE(isListingCheck("classcfg -Lall -ibr-lan | grep -qw voip"));
    EXPECT_TRUE(isListingCheck("ifcfg --ifmap -L | grep -q \"CAT 3.*ppp0.*\""));
    EXPECT_TRUE(isListingCheck("ifcfg --ifmap -L | grep -q \"INGGRP 2.*ppp0.*\""));
}

TEST(ListingCheck, IsNotWhatHoldsAnythingElse) {
    for (const char* line : {
             "classcfg -Lall -ibr0 | grep -qw voip; reboot",
             "classcfg -Lall -ibr0 | grep -qw voip reboot",
             "classcfg -Lall -ibr0 | grep -qw $(reboot)",
             "classcfg -Lall -ibr0 | grep -qw `reboot`",
             "classcfg -Lall -ibr0 | grep -qw voip\nreboot",
             "classcfg -Lall -ibr0 | grep -qw -f/etc/shadow",
             "classcfg -Lall -ibr0 | grep -qw ",
             "classcfg -Lall -ibr0>x | grep -qw voip",
             "ifcfg --ifmap -L | grep -q \"CAT 3.*ppp0$(reboot).*\"",
             "ifcfg --ifmap -L | grep -q \"CAT 3.*ppp0\".*\"",
             "qcfg --queue -A ptm0_q3 -i ptm0",
             "qcfg --queue -Lall -iptm0",
             "reboot",
             "",
         }) {
        EXPECT_FALSE(isListingCheck(line)) << line;
    }
}

TEST(ListingChecks, RunTheToolAndPassItsAnswerOn) {
    const test::FakePath path;
    path.add("classcfg", "echo voip\n");
    ListingChecks checks(CheckMode::run);
    EXPECT_EQ(std::system("classcfg -Lall -ibr0 | grep -qw voip"), 0);
    EXPECT_NE(std::system("classcfg -Lall -ibr0 | grep -qw vo"), 0);
    EXPECT_EQ(checks.runCount, 2U);
    EXPECT_TRUE(checks.refused.empty());
}

TEST(ListingChecks, RunNothingElse) {
    const test::FakePath path;
    path.add("classcfg", "touch " + path.directory() + "/ran\n");
    ListingChecks checks(CheckMode::run);
    EXPECT_NE(std::system("classcfg -A voip -i br0"), 0);
    EXPECT_NE(std::system(("touch " + path.directory() + "/ran").c_str()), 0);
    EXPECT_EQ(checks.refused.size(), 2U);
    EXPECT_NE(::access((path.directory() + "/ran").c_str(), F_OK), 0);
}

TEST(ListingChecks, RunNothingAtAllWhenEverythingIsTakenAsAbsent) {
    const test::FakePath path;
    path.add("classcfg", "touch " + path.directory() + "/ran\necho voip\n");
    ListingChecks checks(CheckMode::assumeAbsent);
    EXPECT_NE(std::system("classcfg -Lall -ibr0 | grep -qw voip"), 0);
    EXPECT_NE(::access((path.directory() + "/ran").c_str(), F_OK), 0);
    EXPECT_EQ(checks.runCount, 0U);
}

TEST(ListingChecks, RememberAToolThatIsNotThere) {
    const test::FakePath path;
    ListingChecks checks(CheckMode::run);
    EXPECT_NE(std::system("classcfg -Lall -ibr0 | grep -qw voip"), 0);
    EXPECT_EQ(checks.missingTools, std::set<std::string>{"classcfg"});
    EXPECT_EQ(checks.runCount, 0U);
}

TEST(ListingChecks, LetNothingRunWhileThereAreNone) {
    const test::FakePath path;
    EXPECT_NE(std::system(("/bin/touch " + path.directory() + "/ran").c_str()), 0);
    EXPECT_NE(::access((path.directory() + "/ran").c_str(), F_OK), 0);
}

} // namespace

} // namespace pacerctl
