#include "gateway.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Interfaces, LogicalOnesThatAreOffDoNotCount) {
    EXPECT_THAT(dslGateway().logicals(), ElementsAre("LocalLoopback", "LocalLAN", "ProviderInternet",
                                                     "ProviderIPTV", "ProviderTR069"));
    EXPECT_FALSE(dslGateway().has("ProviderVoIP"));
    EXPECT_EQ(dslGateway().carrier("ProviderInternet"), "ppp0");
}

TEST(Interfaces, AreFoundByTheLinuxInterfaceThatCarriesThem) {
    EXPECT_THAT(dslGateway().on("ppp0"), ElementsAre("ProviderInternet", "ProviderTR069"));
    EXPECT_THAT(dslGateway().on("eth9"), IsEmpty());
}

TEST(Interfaces, AreFoundByAnInterfaceBelowThemIfItCarriesNoneItself) {
    EXPECT_THAT(dslGateway().on("ptm0.7"), ElementsAre("ProviderInternet", "ProviderTR069"));
    EXPECT_THAT(dslGateway().on("ptm0"), ElementsAre("ProviderInternet", "ProviderIPTV", "ProviderTR069"));
}

TEST(Interfaces, KnowTheWanPortBelow) {
    EXPECT_EQ(dslGateway().wanPort("ppp0"), "ptm0");
    EXPECT_EQ(dslGateway().wanPort("ptm0"), "ptm0");
    EXPECT_EQ(dslGateway().wanPort("br0"), "");
    EXPECT_EQ(dslGateway().wanPort("eth9"), "");
}

TEST(Interfaces, EndAStackAtAnAtmInterfaceAsTheDaemonDoes) {
    const Interfaces interfaces(
        {{{"InterfaceName", "nas_atm0"}, {"ParentInterface", "dsl0"}, {"Type", "MPoA"}},
         {{"InterfaceName", "dsl0"}, {"ParentInterface", "root"}, {"Type", "XDSL"}},
         {{"InterfaceName", "ppp0"}, {"ParentInterface", "nas_atm0"}, {"Type", "PPP"}}},
        {}, {});
    EXPECT_EQ(interfaces.wanPort("ppp0"), "nas_atm0");
}

TEST(Interfaces, ACircleOfParentsEnds) {
    const Interfaces interfaces({{{"InterfaceName", "a"}, {"ParentInterface", "b"}, {"Type", "VLAN"}},
                                 {{"InterfaceName", "b"}, {"ParentInterface", "a"}, {"Type", "VLAN"}}},
                                {{{"Name", "ProviderInternet"}, {"Interface", "a"}}}, {});
    EXPECT_EQ(interfaces.wanPort("a"), "");
    EXPECT_THAT(interfaces.on("b"), ElementsAre("ProviderInternet"));
}

TEST(Interfaces, AreDescribedForMessages) {
    EXPECT_EQ(Interfaces({}, {}, {}).describe(), "none, the database has no logical interface");
    EXPECT_EQ(Interfaces({}, {{{"Name", "LocalLAN"}, {"Interface", "br0"}}}, {}).describe(), "\"LocalLAN\"");
}

} // namespace

} // namespace importers::test
