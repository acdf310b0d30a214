#include "platformtest.h"

#include <zel/daemon.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <utility>

namespace {

// Called at each usleep() and before each flock() of this program.
std::function<void()> onPause;
std::function<void()> onLock;

} // namespace

extern "C" int flock(int fd, int operation) {
    if (onLock) {
        onLock();
    }
    return static_cast<int>(::syscall(SYS_flock, fd, operation));
}

extern "C" int usleep(useconds_t microseconds) {
    if (onPause) {
        onPause();
    }
    const timespec pause = {static_cast<time_t>(microseconds / 1'000'000),
                            static_cast<long>(microseconds % 1'000'000) * 1000};
    return ::nanosleep(&pause, nullptr);
}

namespace zel::test {

namespace {

namespace fs = std::filesystem;
using PidFile = ZEL_Daemon_PidFile;

// Runs `body` in a process of its own, which ends with its result.
pid_t inProcess(const std::function<int()>& body) {
    std::cout.flush();
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    return child;
}

constexpr uid_t nobody = 65534;

bool isRoot() {
    return ::geteuid() == 0;
}

int resultOf(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class DaemonTest : public testing::Test {
  protected:
    DaemonTest() { ZEL_Daemon_construct(daemon, "pacerd-test", sandbox.path()); }

    std::unique_ptr<ZEL_Daemon> another() const {
        auto other = std::make_unique<ZEL_Daemon>();
        ZEL_Daemon_construct(*other, "pacerd-test", sandbox.path());
        return other;
    }

    // A process that holds the pid file until release().
    void holdElsewhere() {
        ASSERT_EQ(::pipe2(held.data(), O_CLOEXEC), 0);
        ASSERT_EQ(::pipe2(released.data(), O_CLOEXEC), 0);
        holder = inProcess([this] {
            const auto mine = another();
            const bool written = ZEL_Daemon_createPidFile(*mine) == PidFile::written;
            char byte = written ? 'y' : 'n';
            if (::write(held[1], &byte, 1) != 1) {
                return 1;
            }
            ::close(released[1]);
            return ::read(released[0], &byte, 1) == 0 ? 0 : 1; // and ends without deleting it
        });
        char byte = 0;
        ASSERT_EQ(::read(held[0], &byte, 1), 1);
        ASSERT_EQ(byte, 'y');
    }
    void release() {
        ::close(released[1]);
        EXPECT_EQ(resultOf(holder), 0);
    }

    // What somebody without rights gets, who can reach the folder.
    int asNobody(const std::function<int()>& body) const {
        fs::permissions(sandbox.path(), fs::perms(0755));
        return resultOf(inProcess([&] { return ::setresuid(nobody, nobody, nobody) == 0 ? body() : 99; }));
    }

    void expectRefused(const std::string& reason) {
        EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::failed);
        EXPECT_EQ(log.takeTexts(LOG_ERR),
                  (std::vector<std::string>{"pid file '" + file + "' cannot be written: " + reason +
                                            "; remove it and start again"}));
    }

    Sandbox sandbox;
    std::string file = sandbox / "pacerd-test.pid";
    ZEL_Daemon daemon;
    SyslogLines log;
    std::array<int, 2> held = {-1, -1};
    std::array<int, 2> released = {-1, -1};
    pid_t holder = -1;
};

TEST_F(DaemonTest, looking_at_a_file_that_is_not_there_creates_none) {
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    EXPECT_TRUE(fs::is_empty(sandbox.path()));
}

TEST_F(DaemonTest, looking_changes_nothing_in_the_file) {
    std::ofstream(file) << "1\n";
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
    const auto written = fs::last_write_time(file);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon)) << "the number of a living process alone holds nothing";
    EXPECT_EQ(readFile(file), "1\n");
    EXPECT_EQ(fs::last_write_time(file), written);
}

TEST_F(DaemonTest, writes_its_own_id) {
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written);
    EXPECT_EQ(std::stol(readFile(file)), ::getpid());
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written) << "a second time, too";
    EXPECT_EQ(std::stol(readFile(file)), ::getpid());
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon)) << "by itself, which is nobody else";
    ZEL_Daemon_deletePidFile(daemon);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(DaemonTest, a_running_holder_occupies_the_file_and_keeps_it) {
    holdElsewhere();
    EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(daemon));
    const std::string content = readFile(file);
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::heldByOther);
    ZEL_Daemon_deletePidFile(daemon);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_EQ(readFile(file), content);
    EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(daemon));
    release();
}

TEST_F(DaemonTest, what_a_dead_holder_left_behind_is_free) {
    holdElsewhere();
    release();
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written);
    EXPECT_EQ(std::stol(readFile(file)), ::getpid());
}

TEST_F(DaemonTest, nobodys_file_can_be_deleted) {
    std::ofstream(file) << "4711";
    ZEL_Daemon_deletePidFile(daemon);
    EXPECT_FALSE(fs::exists(file));
    ZEL_Daemon_deletePidFile(daemon); // nothing there: nothing happens
}

TEST_F(DaemonTest, a_holder_that_has_not_written_its_id_yet_still_holds) {
    const int fd = ::open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    ASSERT_EQ(::flock(fd, LOCK_EX), 0);
    EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(daemon));
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::heldByOther);
    ZEL_Daemon_deletePidFile(daemon);
    EXPECT_TRUE(fs::exists(file));
    ::close(fd);
}

TEST_F(DaemonTest, a_file_that_takes_the_place_of_nobodys_is_not_deleted) {
    std::ofstream(file) << "4711";
    onLock = [this] {
        fs::rename(file, sandbox / "old");
        std::ofstream(file) << "new";
    };
    ZEL_Daemon_deletePidFile(daemon);
    onLock = nullptr;
    EXPECT_EQ(readFile(file), "new");
}

TEST_F(DaemonTest, of_many_that_start_at_once_exactly_one_wins) {
    constexpr std::size_t starters = 6;
    for (int round = 0; round < 30; ++round) {
        std::array<int, 2> start = {-1, -1}; // closed: off
        std::array<int, 2> results = {-1, -1};
        std::array<int, 2> end = {-1, -1}; // closed: everybody has his result
        ASSERT_EQ(::pipe2(start.data(), O_CLOEXEC), 0);
        ASSERT_EQ(::pipe2(results.data(), O_CLOEXEC), 0);
        ASSERT_EQ(::pipe2(end.data(), O_CLOEXEC), 0);
        std::vector<pid_t> processes;
        for (std::size_t i = 0; i < starters; ++i) {
            processes.push_back(inProcess([&] {
                const auto mine = another();
                ::close(start[1]);
                ::close(end[1]);
                char byte = 0;
                bool ok = ::read(start[0], &byte, 1) == 0;
                ZEL_Daemon_deletePidFile(*mine); // as the daemon does
                const PidFile result = ZEL_Daemon_createPidFile(*mine);
                byte = result == PidFile::written ? 'w' : result == PidFile::heldByOther ? 'o' : 'f';
                ok = ok && ::write(results[1], &byte, 1) == 1 && ::read(end[0], &byte, 1) == 0;
                ok = ok && (result != PidFile::written || std::stol(readFile(file)) == ::getpid());
                return ok ? 0 : 1;
            }));
        }
        ::close(start[1]);
        std::string all;
        for (char byte = 0; all.size() < starters && ::read(results[0], &byte, 1) == 1;) {
            all += byte;
        }
        ::close(end[1]);
        for (const pid_t process : processes) {
            EXPECT_EQ(resultOf(process), 0);
        }
        for (const int fd : {start[0], results[0], results[1], end[0]}) {
            ::close(fd);
        }
        std::sort(all.begin(), all.end());
        ASSERT_EQ(all, "ooooow") << "round " << round;
    }
}

TEST_F(DaemonTest, a_holder_with_garbage_for_an_id_still_holds) {
    std::ofstream(file) << "no number";
    const int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(fd, LOCK_EX), 0);
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::heldByOther);
    EXPECT_EQ(log.takeTexts(LOG_ERR), std::vector<std::string>());
    ::close(fd);
}

TEST_F(DaemonTest, two_who_look_do_not_see_each_other) {
    std::ofstream(file) << "1";
    const int looker = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(looker, LOCK_SH), 0);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    ::close(looker);
}

TEST_F(DaemonTest, somebody_who_only_looks_keeps_nobody_from_starting) {
    std::ofstream(file) << "1";
    const int looker = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(looker, LOCK_SH), 0);
    int pauses = 0;
    onPause = [&] {
        if (++pauses == 3) {
            ::close(looker);
        }
    };
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written);
    onPause = nullptr;
    EXPECT_EQ(pauses, 3);
}

TEST_F(DaemonTest, commands_do_not_inherit_the_lock) {
    pid_t command = -1;
    {
        const auto mine = another();
        ASSERT_EQ(ZEL_Daemon_createPidFile(*mine), PidFile::written);
        command = ::fork();
        ASSERT_NE(command, -1); // or kill() below would end everybody
        if (command == 0) {
            ::execl("/bin/sleep", "sleep", "30", nullptr);
            ::_exit(127);
        }
    }
    // The command has the lock until it is a program of its own; sleep outlives these ten seconds.
    for (int i = 0; i < 1000 && ZEL_Daemon_occupiedPidFile(daemon); ++i) {
        ::usleep(10'000);
    }
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    ::kill(command, SIGKILL);
    EXPECT_EQ(resultOf(command), -1) << "it was running until now";
}

TEST_F(DaemonTest, says_why_the_file_cannot_be_written) {
    ZEL_Daemon_construct(daemon, "pacerd-test", sandbox / "missing");
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::failed);
    EXPECT_EQ(log.takeTexts(LOG_ERR),
              (std::vector<std::string>{"pid file '" + sandbox / "missing/pacerd-test.pid" +
                                        "' cannot be written: No such file or directory"}));
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
}

TEST_F(DaemonTest, does_not_follow_a_link_that_somebody_has_put_there) {
    const std::string victim = sandbox / "victim";
    std::ofstream(victim) << "precious";
    fs::create_symlink(victim, file);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    expectRefused("it is not a regular file");
    ZEL_Daemon_deletePidFile(daemon);
    EXPECT_EQ(readFile(victim), "precious");
    EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(DaemonTest, a_link_to_a_file_that_somebody_has_locked_occupies_nothing) {
    const std::string locked = sandbox / "locked";
    const int fd = ::open(locked.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    ASSERT_EQ(::flock(fd, LOCK_EX), 0);
    fs::create_symlink(locked, file);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    ::close(fd);
}

TEST_F(DaemonTest, a_pipe_in_its_place_blocks_nothing) {
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    expectRefused("it is not a regular file");
}

TEST_F(DaemonTest, somebody_elses_file_is_neither_written_nor_removed_and_its_lock_holds_nothing) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give a file away";
    }
    std::ofstream(file) << "somebody else's";
    ASSERT_EQ(::chown(file.c_str(), nobody, nobody), 0);
    const int lock = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    for (const bool locked : {false, true}) {
        ASSERT_EQ(::flock(lock, locked ? LOCK_EX : LOCK_UN), 0);
        EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
        expectRefused("it belongs to user 65534");
        ZEL_Daemon_deletePidFile(daemon);
        EXPECT_EQ(readFile(file), "somebody else's");
    }
    ::close(lock);
}

TEST_F(DaemonTest, a_hard_link_is_neither_written_nor_removed_and_its_lock_holds_nothing) {
    const std::string victim = sandbox / "victim";
    std::ofstream(victim) << "precious";
    fs::create_hard_link(victim, file);
    const int lock = ::open(victim.c_str(), O_RDONLY | O_CLOEXEC);
    for (const bool locked : {false, true}) {
        ASSERT_EQ(::flock(lock, locked ? LOCK_EX : LOCK_UN), 0);
        EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
        expectRefused("it is a hard link, one of 2");
        ZEL_Daemon_deletePidFile(daemon);
        EXPECT_EQ(fs::hard_link_count(victim), 2U);
        EXPECT_EQ(readFile(victim), "precious");
    }
    ::close(lock);
}

// As any user can make one where the kernel does not forbid it (fs.protected_hardlinks).
TEST_F(DaemonTest, another_name_for_the_file_of_a_running_instance_takes_nothing_from_it) {
    holdElsewhere();
    fs::create_hard_link(file, sandbox / "another");
    EXPECT_TRUE(ZEL_Daemon_occupiedPidFile(daemon));
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::heldByOther);
    release();
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
}

// Between the look at what stands there and the file of its own.
TEST_F(DaemonTest, a_link_that_takes_the_place_of_the_file_in_between_is_not_written_to) {
    const std::string victim = sandbox / "victim";
    for (const bool symbolic : {true, false}) {
        std::ofstream(victim) << "precious";
        std::ofstream(file) << "4711";
        bool put = false;
        onLock = [&] {
            if (std::exchange(put, true)) {
                return;
            }
            fs::remove(file);
            symbolic ? fs::create_symlink(victim, file) : fs::create_hard_link(victim, file);
        };
        expectRefused(symbolic ? "it is not a regular file" : "it is a hard link, one of 2");
        onLock = nullptr;
        EXPECT_TRUE(put);
        EXPECT_EQ(readFile(victim), "precious");
        fs::remove(file);
    }
}

TEST_F(DaemonTest, nobody_else_can_take_the_lock_of_what_a_dead_holder_left_behind) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    const mode_t before = ::umask(0);
    holdElsewhere();
    ::umask(before);
    release();
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(asNobody([this] { return ::open(file.c_str(), O_RDONLY | O_CLOEXEC) < 0 ? errno : 0; }),
              EACCES);
}

// As an older version has left it, and opened in time.
TEST_F(DaemonTest, whoever_opened_an_older_file_has_nothing_of_the_new_one) {
    std::ofstream(file) << "4711";
    fs::permissions(file, fs::perms(0644));
    const int opened = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    ZEL_Daemon_construct(daemon, "pacerd-test", sandbox.path()); // as if it had been killed
    ASSERT_EQ(::flock(opened, LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(ZEL_Daemon_occupiedPidFile(daemon));
    EXPECT_EQ(ZEL_Daemon_createPidFile(daemon), PidFile::written);
    ::close(opened);
}

TEST_F(DaemonTest, somebody_without_rights_sees_whether_it_is_held_too) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can be somebody without rights";
    }
    const auto look = [this] { return ZEL_Daemon_occupiedPidFile(daemon) ? 1 : 0; };
    const auto take = [this] { return static_cast<int>(ZEL_Daemon_createPidFile(daemon)); };
    holdElsewhere();
    EXPECT_EQ(asNobody(look), 1);
    EXPECT_EQ(asNobody(take), static_cast<int>(PidFile::heldByOther));
    release();
    EXPECT_EQ(asNobody(look), 0);
    EXPECT_EQ(asNobody(take), static_cast<int>(PidFile::failed));
}

TEST_F(DaemonTest, goes_into_the_background_and_loses_no_output) {
    std::array<int, 2> output = {-1, -1};
    ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
    const std::string report = sandbox / "report";
    const pid_t parent = inProcess([&] {
        ::dup2(output[1], STDOUT_FILENO);
        std::cout << "printed before";
        ZEL_Daemon_daemonize(daemon);
        std::cout << "printed after" << std::flush;
        std::ofstream(report + ".new") << fs::current_path() << ' ' << (::getsid(0) == ::getpid()) << ' '
                                       << fs::read_symlink("/proc/self/fd/2") << ' '
                                       << (ZEL_Daemon_createPidFile(daemon) == PidFile::written);
        fs::rename(report + ".new", report);
        return 3; // nobody's business
    });
    EXPECT_EQ(resultOf(parent), 0) << "the foreground process ends well";
    ::close(output[1]);
    std::string printed(100, '\0');
    const ssize_t got = ::read(output[0], printed.data(), printed.size());
    printed.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    EXPECT_EQ(printed, "printed before");
    for (int i = 0; i < 1000 && !fs::exists(report); ++i) {
        ::usleep(10'000);
    }
    EXPECT_EQ(readFile(report), R"("/" 1 "/dev/null" 1)");
    EXPECT_NE(std::stol(readFile(file)), parent);
}

} // namespace

} // namespace zel::test
