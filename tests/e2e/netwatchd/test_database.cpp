// The database goes and comes, and others write into it.
#include "gateways.h"
#include "netwatchdtest.h"

#include <filesystem>

using namespace netwatchd::test;

namespace {

namespace fs = std::filesystem;

class DatabaseSide : public NetwatchdTest {};

TEST_F(DatabaseSide, MayComeLater) {
    server.stop();
    startNetwatchd();
    ASSERT_TRUE(waitForLog("configuration server at '/tmp/cfgserver.socket' cannot be reached"));
    server.start();
    record.emplace();
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
}

TEST_F(DatabaseSide, GetsWhatItMissedWhenItComesBack) {
    startAndSettle();
    server.stop();
    ip("link set eth1 down");
    ASSERT_TRUE(waitForLog("configuration server at '/tmp/cfgserver.socket' is gone"));
    server.start();
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
    ip("link set eth1 up");
    EXPECT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
    EXPECT_THAT(log(), HasSubstr("connected to the configuration server"));
}

TEST_F(DatabaseSide, GetsWhatItMissedAfterACrash) {
    startAndSettle();
    server.crash();
    ip("link set eth1 down");
    server.start();
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
}

TEST_F(DatabaseSide, IsLeftAloneAsLongAsNothingChanges) {
    startAndSettle();
    server.stop();
    server.start();
    ASSERT_TRUE(waitForLog("connected to the configuration server"));
    record.emplace();
    record->listen(Milliseconds(200));
    EXPECT_THAT(record->entries(), IsEmpty());
}

TEST_F(DatabaseSide, KeepsARowThatIsOff) {
    startAndSettle();
    db.update(e2e::statusTable, 5, {{"IsUp", 1}, {"Addr", "192.0.2.7"}});
    record->listen(Milliseconds(200));
    EXPECT_EQ(record->now("ProviderIPTV"), "up 192.0.2.7");
}

TEST_F(DatabaseSide, GetsARowThatSomebodyElseWroteCorrected) {
    startAndSettle();
    db.update(e2e::statusTable, 3, {{"IsUp", 0}, {"Addr", "192.0.2.7"}});
    EXPECT_TRUE(record->waitUntil([&] { return record->entries().size() == 2; }));
    EXPECT_EQ(record->now("ProviderInternet"), "up 0.0.0.0");
}

TEST_F(DatabaseSide, MayGiveARowAnotherInterface) {
    startAndSettle();
    db.update(e2e::statusTable, 5, {{"Interface", "eth1"}});
    EXPECT_TRUE(record->waitForRow("ProviderIPTV up 0.0.0.0")) << log();
    db.update(e2e::statusTable, 5, {{"Interface", "off"}});
    record->listen(Milliseconds(100));
    ip("link set eth1 down");
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
    EXPECT_EQ(record->now("ProviderIPTV"), "up 0.0.0.0");
}

TEST_F(DatabaseSide, MayGetAndLoseRows) {
    startAndSettle();
    db.insert(e2e::statusTable,
              {{"Id", 9}, {"Name", "ProviderTR069"}, {"Interface", "eth1"}, {"Addr", "0.0.0.0"}});
    EXPECT_TRUE(record->waitForRow("ProviderTR069 up 0.0.0.0"));
    db.remove(e2e::statusTable, 9);
    ip("link set eth1 down");
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
}

// A change of somebody else's that arrives together with the answer to a write is not left lying until the
// next event.
TEST_F(DatabaseSide, MayChangeWhileSomethingIsBeingWritten) {
    startAndSettle();
    for (const std::string state : {"down", "up", "down", "up"}) {
        db.update(e2e::statusTable, 5, {{"Interface", "off"}, {"Addr", "192.0.2.9"}});
        record->listen(Milliseconds(100));
        server.freeze();
        ip("link set eth1 " + state);
        e2e::pause(Milliseconds(100)); // by now the write is under way
        const e2e::Process other(e2e::Command{
            {"ovsdb-client", "transact", "unix:" + std::string(e2e::serverSocket),
             R"(["Gateway", {"op": "update", "table": "StatusNetifWatchLogical", "where": [["Id", "==", 5]],
                             "row": {"Interface": "eth1"}}])"},
            {},
            "",
            ""});
        e2e::pause(Milliseconds(100));
        server.thaw();
        EXPECT_TRUE(record->waitForRow("ProviderIPTV " + state + " 0.0.0.0")) << log();
    }
}

TEST_F(DatabaseSide, ThatIsFullGetsTheRowOnceThereIsRoom) {
    const std::string disk = "/tmp/full";
    fs::create_directory(disk);
    ASSERT_EQ(e2e::run({"mount", "-t", "tmpfs", "-o", "size=256k", "none", disk}).status, 0);
    {
        e2e::OvsdbServer onDisk(e2e::schemaFile(), disk);
        fs::copy_file(server.file(), onDisk.file(), fs::copy_options::overwrite_existing);
        server.stop();
        onDisk.start();
        startAndSettle();
        e2e::writeFile(disk + "/filler", std::string(1 << 20, 'x')); // as much as goes in
        bool down = false;
        EXPECT_TRUE(record->waitUntil([&] { // the file's last page may have room
            down = !down;
            ip(down ? "link set eth1 down" : "link set eth1 up");
            record->listen(Milliseconds(100));
            return log().find("cannot write table 'StatusNetifWatchLogical': I/O error") != std::string::npos;
        }));
        const std::string now = down ? "down 0.0.0.0" : "up 0.0.0.0";
        EXPECT_NE(record->now("ProviderInternet"), now);
        fs::remove(disk + "/filler");
        EXPECT_TRUE(record->waitForRow("ProviderInternet " + now));
        netwatchd.signal(SIGTERM);
        EXPECT_EQ(netwatchd.exitStatus(), 0);
    }
    EXPECT_EQ(e2e::run({"umount", disk}).status, 0);
}

TEST_F(DatabaseSide, ThatDoesNotAnswerIsWaitedFor) {
    startAndSettle();
    server.freeze();
    ip("link set eth1 down");
    e2e::pause(Milliseconds(300));
    server.thaw();
    EXPECT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
    EXPECT_EQ(record->entries().size(), 1U);
}

} // namespace
