// How the connector collects: the paths here are stand-ins whose lists can fail, which those of the real
// paths never do. This file defines the paths' operations itself, so that the linker leaves the real ones
// out.
#include "connector/fapiqosconnector.h"

#include <daemontest.h>

namespace zel::pacerd {

namespace {

std::string unavailable; // the list that cannot be produced, such as "queue of ppp0"

bool produce(const std::string& kind, const std::string& interface, std::vector<std::string>& cmds) {
    const std::string list = kind + " of " + interface;
    cmds.push_back(list);
    return list != unavailable;
}

} // namespace

upperDataPath::upperDataPath(int handle, const cfg::common::IConfigClient& configClient,
                             std::vector<std::string> stack)
    : moduleHandle(handle), client(configClient), interfaceStack(std::move(stack)) {}

std::string upperDataPath::getIfName() const {
    return interfaceStack.front();
}

bool upperDataPath::getFapiQosQueueCmdList(std::vector<std::string>& cmds) const {
    return produce("queue", getIfName(), cmds);
}

bool upperDataPath::getFapiQosClassifierCmdList(std::vector<std::string>& cmds) const {
    return produce("classifier", getIfName(), cmds);
}

bool upperDataPath::getFapiQosIfMapCmdList(std::vector<std::string>& cmds) const {
    return produce("ifmap", getIfName(), cmds);
}

bool upperDataPath::getFapiQosPcpMapCmdList(std::vector<std::string>& cmds) const {
    return produce("pcpmap", getIfName(), cmds);
}

// Low path N stands on lowN and carries upNa and upNb.
lowDataPath::lowDataPath(int handle, const cfg::common::IConfigClient& configClient, int id)
    : moduleHandle(handle), client(configClient), nsnId(id) {
    const std::string number = std::to_string(id);
    upperDataPathList.emplace_back(handle, configClient, std::vector<std::string>{"up" + number + "a"});
    upperDataPathList.emplace_back(handle, configClient, std::vector<std::string>{"up" + number + "b"});
}

std::string lowDataPath::getIfName() const {
    return "low" + std::to_string(nsnId);
}

const std::vector<upperDataPath>& lowDataPath::getUpperDataPathList() const {
    return upperDataPathList;
}

bool lowDataPath::getFapiQosShaperCmdList(std::vector<std::string>& cmds) const {
    return produce("shaper", getIfName(), cmds);
}

namespace test {
namespace {

class ConnectorCollect : public DaemonTest {
  protected:
    ConnectorCollect() { unavailable.clear(); }

    fapiQosConnector built() {
        const std::vector<lowDataPath> wan{{handle, db, 1}, {handle, db, 2}};
        const std::vector<upperDataPath> local{{handle, db, {"lo"}}, {handle, db, {"lo1"}}};
        const std::vector<upperDataPath> lan{{handle, db, {"br0"}}, {handle, db, {"br1"}}};
        return {handle, wan, local, lan};
    }

    // A connector whose construction lacks that list: the failed expression and what was logged.
    void expectFailure(const std::string& list, const std::string& expression, const std::string& error) {
        unavailable = list;
        EXPECT_EQ(assertionOf([this] { built(); }), expression + " (fapiqosconnector.cpp)");
        EXPECT_THAT(log.take(), ElementsAre("error: " + error));
        EXPECT_THAT(shell.take(), IsEmpty());
    }

    using Collector = bool (fapiQosConnector::*)(std::vector<std::string>&) const;

    // What a collector appends when that list cannot be produced; the error is taken.
    Lines collected(Collector collector, const std::string& list) {
        unavailable.clear();
        const fapiQosConnector connector = built();
        unavailable = list;
        Lines commands{"earlier"};
        EXPECT_EQ((connector.*collector)(commands), list.empty());
        EXPECT_EQ(log.take().size(), list.empty() ? 0u : 1u);
        return commands;
    }
};

TEST_F(ConnectorCollect, WalksTheUpperPathsOfEachWanPath) {
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanQueueCmds, ""),
                ElementsAre("earlier", "queue of up1a", "queue of up1b", "queue of up2a", "queue of up2b"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanClassifierCmds, ""),
                ElementsAre("earlier", "classifier of up1a", "classifier of up1b", "classifier of up2a",
                            "classifier of up2b"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanIfMapCmds, ""),
                ElementsAre("earlier", "ifmap of up1a", "ifmap of up1b", "ifmap of up2a", "ifmap of up2b"));
    EXPECT_THAT(
        collected(&fapiQosConnector::getFapiQosWanPcpMapCmds, ""),
        ElementsAre("earlier", "pcpmap of up1a", "pcpmap of up1b", "pcpmap of up2a", "pcpmap of up2b"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanShaperCmds, ""),
                ElementsAre("earlier", "shaper of low1", "shaper of low2"));
}

TEST_F(ConnectorCollect, WalksTheLanAndTheLocalPaths) {
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLanQueueCmds, ""),
                ElementsAre("earlier", "queue of br0", "queue of br1"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLocalQueueCmds, ""),
                ElementsAre("earlier", "queue of lo", "queue of lo1"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLanClassifierCmds, ""),
                ElementsAre("earlier", "classifier of br0", "classifier of br1"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLocalClassifierCmds, ""),
                ElementsAre("earlier", "classifier of lo", "classifier of lo1"));
}

TEST_F(ConnectorCollect, StopsAtTheFirstPathWithoutAListAndKeepsWhatWasAppended) {
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanQueueCmds, "queue of up1b"),
                ElementsAre("earlier", "queue of up1a", "queue of up1b"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosWanShaperCmds, "shaper of low1"),
                ElementsAre("earlier", "shaper of low1"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLanQueueCmds, "queue of br0"),
                ElementsAre("earlier", "queue of br0"));
    EXPECT_THAT(collected(&fapiQosConnector::getFapiQosLocalClassifierCmds, "classifier of lo"),
                ElementsAre("earlier", "classifier of lo"));
}

TEST_F(ConnectorCollect, AMissingWanListEndsTheConstruction) {
    expectFailure("ifmap of up1a", "true == this->getFapiQosWanIfMapCmds(this->fapiIfMapCmds)",
                  "failed getting interface map cmd list for wan path 'up1a'");
    expectFailure("queue of up2b", "true == this->getFapiQosWanQueueCmds(this->fapiQCmds)",
                  "failed getting queue cmd list for wan path 'up2b'");
    expectFailure("classifier of up1b", "true == this->getFapiQosWanClassifierCmds(this->fapiClCmds)",
                  "failed getting classifier cmd list for wan path 'up1b'");
    expectFailure("pcpmap of up2a", "true == this->getFapiQosWanPcpMapCmds(this->fapiPcpMapCmds)",
                  "failed getting pcp map cmd list for wan path 'up2a'");
    expectFailure("shaper of low2", "true == this->getFapiQosWanShaperCmds(this->fapiShaperCmds)",
                  "failed getting shaper cmd list for wan path 'low2'");
}

TEST_F(ConnectorCollect, AMissingLanOrLocalListEndsTheConstruction) {
    expectFailure("queue of br1", "true == this->getFapiQosLanQueueCmds(this->fapiQCmds)",
                  "could not get queue cmd list for LAN data path 'br1'");
    expectFailure("queue of lo", "true == this->getFapiQosLocalQueueCmds(this->fapiQCmds)",
                  "could not get queue cmd list for local data path 'lo'");
    expectFailure("classifier of br0", "true == this->getFapiQosLanClassifierCmds(this->fapiClCmds)",
                  "could not get classifier cmd list for LAN data path 'br0'");
    expectFailure("classifier of lo1", "true == this->getFapiQosLocalClassifierCmds(this->fapiClCmds)",
                  "could not get classifier cmd list for local data path 'lo1'");
}

TEST_F(ConnectorCollect, EachGroupHoldsWanThenLanThenLocalCommands) {
    fapiQosConnector connector = built();
    EXPECT_TRUE(connector.applyFapiQosQueueCmds());
    EXPECT_THAT(shell.take(), ElementsAre("queue of up1a", "queue of up1b", "queue of up2a", "queue of up2b",
                                          "queue of br0", "queue of br1", "queue of lo", "queue of lo1"));
    EXPECT_TRUE(connector.applyFapiQosClCmds());
    EXPECT_THAT(shell.take(), ElementsAre("classifier of up1a", "classifier of up1b", "classifier of up2a",
                                          "classifier of up2b", "classifier of br0", "classifier of br1",
                                          "classifier of lo", "classifier of lo1"));
    EXPECT_TRUE(connector.applyFapiQosIfMapCmds());
    EXPECT_THAT(shell.take(),
                ElementsAre("ifmap of up1a", "ifmap of up1b", "ifmap of up2a", "ifmap of up2b"));
    EXPECT_TRUE(connector.applyFapiQosShaperCmds());
    EXPECT_THAT(shell.take(), ElementsAre("shaper of low1", "shaper of low2"));
}

} // namespace
} // namespace test
} // namespace zel::pacerd
