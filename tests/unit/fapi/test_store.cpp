// Where the tools' state lies, and who may have a hand in it.
#include "failure.h"
#include "process/sandbox.h"
#include "store.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace fapi {

namespace {

namespace fs = std::filesystem;

class StoreTest : public testing::Test {
  protected:
    StoreTest() { setenv("FAPI_QOS_STATE", root.c_str(), 1); }
    ~StoreTest() override { unsetenv("FAPI_QOS_STATE"); }
    StoreTest(const StoreTest&) = delete;
    StoreTest& operator=(const StoreTest&) = delete;

    static std::string failureOf(Access access) {
        try {
            const Store store(access);
            return "";
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    zel::test::Sandbox sandbox;
    std::string root = sandbox.path("fapi-qos");
};

TEST_F(StoreTest, makes_its_folder_for_itself_alone) {
    EXPECT_EQ(failureOf(Access::read), "") << "nothing was ever configured";
    EXPECT_FALSE(fs::exists(root)) << "and reading leaves no trace";
    EXPECT_EQ(failureOf(Access::write), "");
    EXPECT_EQ(fs::status(root).permissions() & (fs::perms::group_write | fs::perms::others_write),
              fs::perms::none);
}

TEST_F(StoreTest, does_not_follow_a_link_in_its_folders_place) {
    const std::string victim = sandbox.path("victim");
    fs::create_directory(victim);
    fs::create_directory_symlink(victim, root);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + ": Not a directory");
    }
    EXPECT_TRUE(fs::is_empty(victim));
}

TEST_F(StoreTest, refuses_a_folder_that_others_may_write) {
    fs::create_directory(root);
    fs::permissions(root, fs::perms::all);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + " can be written by others than its owner");
    }
}

TEST_F(StoreTest, refuses_a_folder_of_another_user) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    fs::create_directory(root);
    ASSERT_EQ(chown(root.c_str(), 65534, 65534), 0);
    for (const Access access : {Access::read, Access::write}) {
        EXPECT_EQ(failureOf(access), "state folder " + root + " belongs to user 65534, who is not trusted");
    }
}

TEST_F(StoreTest, a_file_in_its_folders_place_is_named) {
    sandbox.write("fapi-qos", "");
    EXPECT_EQ(failureOf(Access::write), "state folder " + root + ": Not a directory");
}

// The namespace's folder; it has only one.
std::string folderBelow(const std::string& root) {
    return fs::directory_iterator(root)->path().string();
}

TEST_F(StoreTest, tells_the_next_call_that_one_was_killed) {
    EXPECT_FALSE(Store(Access::write).markBusy());
    {
        Store next(Access::write);
        EXPECT_TRUE(next.markBusy());
        next.save({}, {});
        next.markDone();
    }
    EXPECT_TRUE(fs::is_empty(root));
    EXPECT_FALSE(Store(Access::write).markBusy());
}

TEST_F(StoreTest, clears_away_what_a_killed_call_had_half_written) {
    (void)Store(Access::write).markBusy();
    sandbox.write("fapi-qos/" + fs::path(folderBelow(root)).filename().string() + "/state.new", "sha");
    Store next(Access::write);
    (void)next.markBusy();
    next.save({}, {});
    next.markDone();
    EXPECT_TRUE(fs::is_empty(root));
}

} // namespace

} // namespace fapi
