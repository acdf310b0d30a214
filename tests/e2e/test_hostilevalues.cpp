// Hostile texts in every text column of every table, with the real shell: nothing runs but the tools, with
// what is meant for them.
#include "gatewaytest.h"
#include "hostiletexts.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace e2e {

namespace {

struct TextColumn {
    const char* table;
    const char* column;
    bool isWord = false;     // becomes part of a command line
    const char* before = ""; // what the text is put behind
    Json others = {};        // columns of the row that differ from the small gateway's first row

    friend std::ostream& operator<<(std::ostream& out, const TextColumn& one) {
        return out << one.table << '.' << one.column;
    }
};

// Each row is one that would take effect, as far as it can without costing a thousand commands.
std::vector<TextColumn> textColumns() {
    const Json off = {{"Egress", 0}, {"Ingress", 0}};
    return {
        {"NetworkSetupNode", "InterfaceName", true},
        {"NetworkSetupNode", "ParentInterface", false, "", {{"InterfaceName", "ppp1"}, {"Type", "PPP"}}},
        {"NetworkSetupNode", "Type", false, "", {{"InterfaceName", "ppp1"}}},
        {"StatusDsl", "StatusString"},
        {"StatusNetifWatchLogical", "Name", false, "", {{"Interface", "eth7"}}},
        {"StatusNetifWatchLogical", "Interface", true},
        {"StatusNetifWatchLogical", "Addr", false, "", {{"Name", "ProviderTR069"}, {"Interface", "off"}}},
        {"QoSShaper", "InterfaceName", true},
        {"QoSQueues", "Name", false, "", off},
        {"QoSQueues", "InterfaceName"},
        {"QoSQueues", "TrafficClasses", false, "1,", off},
        {"QoSQueues", "Scheduler", false, "", off},
        {"QoSQueues", "DropAlgorithm", false, "", off},
        {"QoSClassificationAction", "Name"},
        {"QoSClassificationAction", "QueueInterface"},
        {"QoSClassification", "Name", true},
        {"QoSClassification", "ClassifyInterface"},
        {"QoSClassification", "DestIP", true},
        {"QoSClassification", "SourceIP", true},
        {"QoSClassification", "Protocol", false, "", {{"ClassifyInterface", "ProviderVoIP"}}},
        {"QoSClassification", "DestPortRange", true},
        {"QoSClassification", "SourcePortRange", true},
    };
}

// The shipped schema without what it asks of values.
std::string looseSchemaFile() {
    Json schema = Json::parse(readFile(schemaFile()));
    for (auto& [name, table] : schema["tables"].items()) {
        for (auto& [column, description] : table["columns"].items()) {
            Json& key = description["type"]["key"];
            key = key.is_object() ? key["type"] : key;
        }
    }
    const std::string file = "/tmp/loose.schema";
    writeFile(file, schema.dump());
    return file;
}

std::set<std::string> filesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path());
    }
    return names;
}

class HostileTextsTest : public GatewayTest {
  protected:
    HostileTextsTest() {
        writeFile(canary, "#!/bin/sh\necho ran >/tmp/ran\n");
        std::filesystem::permissions(canary, std::filesystem::perms::owner_all);
        // What does come about must not end up in a checkout.
        std::filesystem::create_directories("/tmp/here");
        std::filesystem::current_path("/tmp/here");
    }

    // Where each text costs commands: every 20th of them, or every PACERD_HOSTILE_STEP-th.
    static Texts someTexts() {
        const char* chosen = std::getenv("PACERD_HOSTILE_STEP");
        const std::size_t step = chosen == nullptr ? 20 : std::max(1UL, std::strtoul(chosen, nullptr, 10));
        const Texts all = hostileTexts();
        Texts some;
        for (std::size_t at = 0; at < all.size(); at += step) {
            some.push_back(all[at]);
        }
        return some;
    }

    // Everywhere that a command could leave a file without a path to it being in the text.
    static std::set<std::string> files() {
        std::set<std::string> all;
        for (const char* folder : {"/", "/tmp", "/run", "."}) {
            all.merge(filesIn(folder));
        }
        return all;
    }

    void startLooseServer(const Json& configuration) {
        own.emplace(looseSchemaFile());
        own->start();
        db.replaceAll(configuration);
    }

    void startLoose(const Json& configuration) {
        startLooseServer(configuration);
        startDaemon(Texts{"-d", "0"});
    }

    static bool isHarmless(const std::string& command) {
        static constexpr std::array<const char*, 4> tools = {"qcfg --queue ", "qcfg --port ", "classcfg ",
                                                             "ifcfg --ifmap "};
        static const std::string harmless =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._:/,+@%=-! ";
        return command.find_first_not_of(harmless) == std::string::npos &&
               std::any_of(tools.begin(), tools.end(),
                           [&](const char* tool) { return command.starts_with(tool); });
    }

    static void expectHarmless(const Texts& commands) {
        for (const std::string& command : commands) {
            EXPECT_TRUE(isHarmless(command)) << command;
        }
    }

    Texts upAndDown() {
        daemon->commands().clear();
        bringUp();
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        return daemon->commands().all();
    }

    std::size_t refusals() const {
        const Texts messages = log.messages();
        return static_cast<std::size_t>(
            std::count_if(messages.begin(), messages.end(), [](const std::string& message) {
                return message.find("counts as absent") != std::string::npos;
            }));
    }

    // What a run of the daemon must not have left behind.
    void expectNothingRan(const std::set<std::string>& before) {
        EXPECT_EQ(files(), before);
        EXPECT_FALSE(std::filesystem::exists("/tmp/ran"));
    }

    std::optional<OvsdbServer> own;
};

class HostileValuesTest : public HostileTextsTest, public ::testing::WithParamInterface<TextColumn> {
  protected:
    // The small gateway and before each of its rows of that table, by "Id", one for each hostile text.
    static Json hostileGateway(const TextColumn& where) {
        Json gateway = smallGateway();
        Json row = gateway[where.table][0];
        row.update(where.others.is_null() ? Json::object() : where.others);
        const bool last = std::string(where.table) == "StatusDsl"; // of which only the first row is read
        int id = last ? 100 : -100'000;
        for (const std::string& text : hostileTexts()) {
            row["Id"] = id++;
            row[where.column] = where.before + text;
            gateway[where.table].push_back(row);
        }
        return gateway;
    }
};

INSTANTIATE_TEST_SUITE_P(Column, HostileValuesTest, ::testing::ValuesIn(textColumns()),
                         [](const auto& where) {
                             return std::string(where.param.table) + "_" + where.param.column;
                         });

TEST_P(HostileValuesTest, RunNothingAndLeaveNoFile) {
    const TextColumn where = GetParam();
    const std::size_t count = hostileTexts().size();
    ASSERT_GE(count, 2000U);
    startLoose(smallGateway());
    const Texts expected = upAndDown();
    const std::set<std::string> before = files();

    db.replaceAll(hostileGateway(where));
    settle();
    EXPECT_EQ(refusals(), where.isWord ? count : 0U);
    const Texts commands = upAndDown();
    expectHarmless(commands);
    EXPECT_EQ(commands, expected);
    EXPECT_EQ(refusals(), where.isWord ? count : 0U) << "only changes of the row are reported";
    expectNothingRan(before);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

// Free texts in rows that take effect, in as many rounds as their commands take time. HostileValuesTest
// cannot have them in effect, since each row makes commands.
class HostileFreeTextsTest : public HostileValuesTest {
  protected:
    // The small gateway with one row for each of these texts.
    static Json gatewayWith(const TextColumn& where, const std::vector<std::string>& texts) {
        Json gateway = smallGateway();
        Json row = gateway[where.table][0];
        row.update(where.others.is_null() ? Json::object() : where.others);
        int id = 100;
        for (const std::string& text : texts) {
            row["Id"] = id++;
            row[where.column] = where.before + text;
            gateway[where.table].push_back(row);
        }
        return gateway;
    }
};

INSTANTIATE_TEST_SUITE_P(
    Column, HostileFreeTextsTest,
    ::testing::Values(TextColumn{"QoSQueues", "Name", false, "", {{"Ingress", 0}}},
                      TextColumn{"QoSQueues", "TrafficClasses", false, "1,", {{"Ingress", 0}}},
                      TextColumn{"QoSQueues", "Scheduler", false, "", {{"Ingress", 0}}},
                      TextColumn{"QoSQueues", "DropAlgorithm", false, "", {{"Ingress", 0}}},
                      TextColumn{"QoSClassification", "Protocol"}),
    [](const auto& where) { return std::string(where.param.table) + "_" + where.param.column; });

TEST_P(HostileFreeTextsTest, InRowsThatTakeEffectRunOnlyTheTools) {
    constexpr std::size_t roundSize = 110;
    const Texts all = someTexts();
    startLoose(smallGateway());
    upAndDown();
    const std::set<std::string> before = files();
    Texts texts;
    std::size_t rows = 0;
    for (const std::string& text : all) {
        texts.push_back(text);
        if (texts.size() < roundSize && &text != &all.back()) {
            continue;
        }
        db.replaceAll(gatewayWith(GetParam(), texts));
        daemon->commands().clear();
        bringUp();
        expectHarmless(daemon->commands().all());
        takeDown();
        expectHarmless(daemon->commands().all());
        EXPECT_GT(daemon->commands().all().size(), texts.size()) << "they did take effect";
        rows += texts.size();
        texts.clear();
        if (HasFailure()) {
            break;
        }
    }
    EXPECT_EQ(rows, all.size());
    expectNothingRan(before);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

// Internet over a VLAN on ATM, whose interface ends a stack whatever its parent is: the one parent that is
// read and need not exist.
Json gatewayOnAtm() {
    return Json::parse(R"({
  "NetworkSetupNode": [
    {"Id": 1, "Enable": 1, "Type": "MPoA", "InterfaceName": "atm0", "ParentInterface": "root"},
    {"Id": 2, "Enable": 1, "Type": "VLAN", "InterfaceName": "vlan7", "ParentInterface": "atm0"}
  ],
  "StatusDsl": [{"Id": 1, "Status": 4, "StatusString": "Showtime"}],
  "StatusNetifWatchLogical": [
    {"Id": 3, "Name": "ProviderInternet", "Interface": "vlan7", "IsUp": 0, "Addr": "203.0.113.17"}
  ],
  "QoSShaper": [], "QoSQueues": [], "QoSClassification": [], "QoSClassificationAction": []
})");
}

// Columns of which only certain rows take effect: the texts follow each other in these.
class InPlaceHostileFreeTextsTest : public HostileTextsTest {
  protected:
    // Returns when the daemon has decided.
    void decide(const std::string& text, bool up) {
        log.clear();
        db.transact(
            Json::array({Database::updating("StatusDsl", 1, {{"StatusString", text}}),
                         Database::updating(statusTable, internetRow, {{"IsUp", up ? 1 : 0}, {"Addr", text}}),
                         Database::updating("NetworkSetupNode", 1, {{"ParentInterface", text}}),
                         Database::updating("NetworkSetupNode", 2, {{"Type", text}})}));
        ASSERT_TRUE(log.waitFor(up ? "info: WAN up statue 0 => 1" : "info: WAN up statue 1 => 0"));
        EXPECT_TRUE(log.has("info: DSL has state '" + text + "'"));
        if (!up) {
            EXPECT_TRUE(log.has("info: current ProviderInternet state: isUp: 0, Address: '" + text + "'"));
        }
    }

    void upAndDownWith(const std::string& text) {
        SCOPED_TRACE(text.substr(0, 100));
        decide(text, true);
        decide(text, false);
    }
};

TEST_F(InPlaceHostileFreeTextsTest, RunOnlyWhatAHarmlessTextRuns) {
    startLoose(gatewayOnAtm());
    upAndDownWith("harmless");
    settle();
    const Texts expected = daemon->commands().all();
    EXPECT_THAT(expected, Contains("ifcfg --ifmap -A vlan7 -t3 -batm0 -latm0 -g2"));
    EXPECT_THAT(expected, Contains("ifcfg --ifmap -D vlan7 -t3 -batm0 -latm0 -g2"));
    const std::set<std::string> before = files();
    daemon->commands().clear();
    const Texts texts = someTexts();
    for (const std::string& text : texts) {
        upAndDownWith(text);
        ASSERT_FALSE(HasFailure());
    }
    settle();
    Texts all = daemon->commands().all();
    ASSERT_EQ(all.size(), texts.size() * expected.size());
    for (const std::string& text : texts) {
        const auto end = all.begin() + static_cast<std::ptrdiff_t>(expected.size());
        ASSERT_EQ(Texts(all.begin(), end), expected) << text.substr(0, 100);
        all.erase(all.begin(), end);
    }
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNothingRan(before);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

// There is an interface of that name, and it would be the WAN's if its row were let in. As it is not, the
// chain of parents is broken, which ends the daemon by contract.
class ParentsHostileFreeTextsTest : public HostileTextsTest {};

TEST_F(ParentsHostileFreeTextsTest, ThatNameARefusedInterfaceLeadNowhere) {
    Json gateway = gatewayOnAtm();
    gateway["NetworkSetupNode"][0].update({{"Type", "XDSL"}, {"InterfaceName", "ptm0"}});
    gateway["NetworkSetupNode"].push_back(
        {{"Id", 3}, {"Enable", 1}, {"Type", "MPoA"}, {"InterfaceName", "atm0"}, {"ParentInterface", "root"}});
    gateway["StatusNetifWatchLogical"][0]["IsUp"] = 1;
    startLooseServer(gateway);
    writeFile("/tmp/commands", "");
    const auto filesOfNoDaemon = [] {
        std::set<std::string> all = files();
        std::erase_if(all, [](const std::string& name) { return name.starts_with("/tmp/daemon"); });
        return all;
    };
    const std::set<std::string> before = filesOfNoDaemon();
    for (const std::string& text : someTexts()) {
        SCOPED_TRACE(text.substr(0, 100));
        log.clear();
        db.transact(Json::array({Database::updating("NetworkSetupNode", 2, {{"ParentInterface", text}}),
                                 Database::updating("NetworkSetupNode", 3, {{"InterfaceName", text}})}));
        daemon.emplace(Texts{"-d", "0"}, std::map<std::string, std::string>{}, "/tmp/commands");
        EXPECT_EQ(daemon->exitStatus(), 1);
        EXPECT_TRUE(log.has("error: could not get interface data for if '" + text + "'"));
        EXPECT_EQ(refusals(), 1U);
        EXPECT_THAT(daemon->commands().all(), IsEmpty());
        if (HasFailure()) {
            break;
        }
    }
    EXPECT_EQ(filesOfNoDaemon(), before);
    EXPECT_FALSE(std::filesystem::exists("/tmp/ran"));
}

} // namespace

} // namespace e2e
