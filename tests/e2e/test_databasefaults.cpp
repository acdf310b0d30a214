// The database becomes another one, cannot be written, or floods the daemon.
#include "gatewaytest.h"
#include "pipeline.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <list>

namespace e2e {

namespace {

namespace fs = std::filesystem;

class DatabaseFaultsTest : public GatewayTest {
  protected:
    void replaceServerBy(OvsdbServer& other) {
        server.crash();
        ::unlink(serverSocket);
        other.start();
    }

    // The shipped schema, with one column more and without the shapers.
    static void writeNextSchema(const std::string& file) {
        Json schema = Json::parse(readFile(schemaFile()));
        schema["tables"]["QoSQueues"]["columns"]["Comment"] = {{"type", "string"}};
        schema["tables"].erase("QoSShaper");
        writeFile(file, schema.dump());
    }

    void expectStopLeavesNothing() {
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }
};

TEST_F(DatabaseFaultsTest, AnOlderDatabaseIsFollowedAsItIs) {
    OvsdbServer older(schemaFile());
    older.start();
    db.replaceAll(smallGateway()); // the internet is down
    older.stop();
    startDaemon(smallGateway());
    bringUp();
    ASSERT_EQ(daemon->commands().objects().size(), 11U);
    replaceServerBy(older);
    settle();
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().empty(); })) << "the WAN is down there";
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

// The last transaction had not reached the disk whole when the power went: for the server it never was.
TEST_F(DatabaseFaultsTest, ATornDatabaseIsFollowedAsTheServerReadsIt) {
    startDaemon(smallGateway());
    bringUp();
    db.update(statusTable, internetRow, internetDown());
    ASSERT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    log.clear();
    server.crash();
    fs::resize_file(server.file(), fs::file_size(server.file()) - 5);
    server.start();
    ASSERT_TRUE(log.waitFor("info: WAN up statue 0 => 1"));
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

TEST_F(DatabaseFaultsTest, AnotherSchemaAfterARestartIsReadAnew) {
    writeNextSchema("/tmp/next.schema");
    OvsdbServer next("/tmp/next.schema");
    startDaemon(smallGateway());
    bringUp();
    replaceServerBy(next);
    Json configuration = smallGateway();
    configuration.erase("QoSShaper");
    db.replaceAll(configuration);
    settle();
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().empty(); }));
    EXPECT_TRUE(log.has("error: database 'Gateway' has no table 'QoSShaper'"));
    expectStopLeavesNothing();
}

TEST_F(DatabaseFaultsTest, ASchemaThatIsConvertedUnderItIsReadAnew) {
    writeNextSchema("/tmp/next.schema");
    startDaemon(smallGateway());
    bringUp();
    daemon->commands().clear();
    const Outcome converted =
        run({"ovsdb-client", "convert", "unix:" + std::string(serverSocket), "/tmp/next.schema"});
    ASSERT_EQ(converted.status, 0) << converted.errors;
    EXPECT_TRUE(log.waitFor("error: database 'Gateway' has no table 'QoSShaper'"));
    settle();
    EXPECT_THAT(daemon->commands().all(), IsEmpty()) << "the WAN was up all the time";
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

TEST_F(DatabaseFaultsTest, AFullDiskKeepsTheStateUntilThereIsRoom) {
    const std::string disk = "/tmp/disk";
    fs::create_directory(disk);
    ASSERT_EQ(run({"mount", "-t", "tmpfs", "-o", "size=256k", "none", disk}).status, 0);
    {
        OvsdbServer onDisk(schemaFile(), disk);
        onDisk.start();
        db.replaceAll(smallGateway());
        startDaemon();
        bringUp();
        daemon->commands().clear();
        writeFile(disk + "/filler", std::string(1 << 20, 'x')); // as much as goes in
        int attempt = 0;
        const auto refused = [&] {
            try {
                db.update("StatusDsl", 1, {{"StatusString", "filling " + std::to_string(++attempt)}});
                return false; // the file's last page had room
            } catch (const std::runtime_error&) {
                return true;
            }
        };
        ASSERT_TRUE(eventually(refused));
        EXPECT_THROW(db.update(statusTable, internetRow, internetDown()), std::runtime_error);
        const Outcome refusal = run(
            {programFolder() + "/cfgctl", "set", statusTable, "Id=" + std::to_string(internetRow), "IsUp=0"});
        EXPECT_EQ(refusal.status, 1);
        EXPECT_THAT(refusal.errors, HasSubstr("the database refused it: I/O error: "));
        EXPECT_THAT(daemon->commands().all(), IsEmpty());
        EXPECT_FALSE(log.has("info: WAN up statue 1 => 0"));

        fs::remove(disk + "/filler");
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        bringUp();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        expectStopLeavesNothing();
        expectNoErrors();
    }
    run({"umount", disk});
}

// PACERD_FLOOD_SECONDS says for how long (default 1; ./run soak: 10), and that the rate must be reached.
class FloodTest : public DatabaseFaultsTest {
  protected:
#ifdef E2E_SANITIZED
    static constexpr int perMillisecond = 2;
#else
    static constexpr int perMillisecond = 10;
#endif

    static int seconds() {
        const char* chosen = std::getenv("PACERD_FLOOD_SECONDS");
        return chosen == nullptr ? 1 : std::atoi(chosen);
    }

    static long memoryOf(pid_t process, const char* field) {
        const std::string status = readFile("/proc/" + std::to_string(process) + "/status");
        return std::atol(status.c_str() + status.find(field) + std::string(field).size());
    }

    // Each update is a transaction of its own: the shaper's rate counts up, and twice a second the internet
    // goes and comes. Returns how many there were.
    int flood(const std::function<void()>& halfway) {
        std::list<Pipeline> writers(4);
        auto tick = std::chrono::steady_clock::now();
        int rate = 0;
        for (int time = 0; time < seconds() * 1000; ++time) {
            if (time == seconds() * 500) {
                halfway();
            }
            auto writer = writers.begin();
            for (int i = 0; i < perMillisecond; ++i) {
                writer = std::next(writer) == writers.end() ? writers.begin() : std::next(writer);
                writer->add(Json::array({Database::updating("QoSShaper", 1, {{"ShapingRate", ++rate}})}));
            }
            if (time % 500 == 250) {
                writers.front().add(Json::array({Database::updating(
                    statusTable, internetRow, time % 1000 == 250 ? internetDown() : internetUp())}));
            }
            for (Pipeline& each : writers) {
                each.move();
            }
            std::this_thread::sleep_until(tick += Milliseconds(1));
        }
        for (Pipeline& each : writers) {
            EXPECT_TRUE(each.finish());
        }
        return rate;
    }

    // Returns in how many looks the daemon took it in.
    std::size_t expectIsTakenIn(const std::function<void()>& halfway, const std::function<void()>& end) {
        startDaemon(smallGateway(), {"-d", "0"});
        bringUp();
        const pid_t process = daemon->process().id();
        const long before = memoryOf(process, "VmHWM:");
        const auto begin = std::chrono::steady_clock::now();
        const int updates = flood(halfway);
        const std::chrono::duration<double> sent = std::chrono::steady_clock::now() - begin;
        end();
        takeDown();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        const long grown = memoryOf(process, "VmHWM:") - before;
        const std::size_t looked = looks();
        std::cout << updates << " updates in " << sent.count() << " s, " << updates / sent.count()
                  << " a second; the daemon had them all after " << taken.count() << " s, in " << looked
                  << " looks; its memory grew by at most " << grown << " kB\n";
        EXPECT_EQ(updates, seconds() * 1000 * perMillisecond);
        if (std::getenv("PACERD_FLOOD_SECONDS") != nullptr) {
            EXPECT_LT(sent.count(), 1.1 * seconds()) << "10,000 a second are too many for this machine now";
        }
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        db.update("QoSShaper", 1, {{"ShapingRate", updates + 1}});
        daemon->commands().clear();
        bringUp();
        EXPECT_THAT(daemon->commands().changes(),
                    Contains(HasSubstr(" --pir " + std::to_string(updates + 1) + " -t egress")));
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
#ifndef E2E_SANITIZED // which keep freed memory for a while
        EXPECT_LT(grown, 256) << "kB";
#endif
        expectNoErrors();
        expectStopLeavesNothing();
        return looked;
    }
};

TEST_F(FloodTest, IsTakenInToTheLastUpdate) {
    const auto nothing = [] {};
    EXPECT_GT(expectIsTakenIn(nothing, nothing), 10U * static_cast<unsigned>(seconds()))
        << "it takes part all the time";
}

// Much lies before the daemon when it goes on.
TEST_F(FloodTest, IsTakenInAfterAStandstill) {
    expectIsTakenIn([&] { daemon->signal(SIGSTOP); }, [&] { daemon->signal(SIGCONT); });
}

} // namespace

} // namespace e2e
