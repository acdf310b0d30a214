#include "pacerctl/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace pacerctl {

namespace {

namespace fs = std::filesystem;

class WrittenFile : public testing::Test {
  protected:
    WrittenFile() {
        std::string pattern = (fs::temp_directory_path() / "pacerctl-files.XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        file = folder + "/metrics.prom";
    }
    ~WrittenFile() override { fs::remove_all(folder); }

    static std::string contentOf(const std::string& name) {
        std::ifstream stream(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(folder)) {
            all.push_back(entry.path().filename());
        }
        return all;
    }

    // Nothing is written, and nothing left beside the file.
    void expectFailure(const std::string& reason, const std::string& content = "new") const {
        const std::vector<std::string> before = names();
        std::string said;
        try {
            writeFile(file, content);
        } catch (const FileFailure& failure) {
            said = failure.what();
        }
        EXPECT_EQ(said, "cannot write '" + file + "': " + reason);
        EXPECT_THAT(names(), testing::UnorderedElementsAreArray(before));
    }

    std::string folder;
    std::string file;
};

TEST_F(WrittenFile, TakesThePlaceOfAnOlderOneWhoseReadersKeepIt) {
    std::ofstream(file) << "old";
    std::ifstream reader(file);
    writeFile(file, "new");
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
    EXPECT_THAT(names(), testing::ElementsAre("metrics.prom"));
}

TEST_F(WrittenFile, DoesNotFollowOrReplaceALink) {
    const std::string victim = folder + "/victim";
    std::ofstream(victim) << "precious";
    fs::create_symlink(victim, file);
    expectFailure("it is not a regular file");
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(contentOf(victim), "precious");
}

TEST_F(WrittenFile, DoesNotFollowALinkToNothing) {
    fs::create_symlink(folder + "/nothing", file);
    expectFailure("it is not a regular file");
}

TEST_F(WrittenFile, DoesNotReplaceAPipe) { // or /dev/null
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    expectFailure("it is not a regular file");
    EXPECT_TRUE(fs::is_fifo(file));
}

TEST_F(WrittenFile, DoesNotReplaceSomebodyElses) {
    constexpr uid_t nobody = 65534;
    std::ofstream(file) << "somebody else's";
    if (::chown(file.c_str(), nobody, nobody) != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    expectFailure("it belongs to user 65534");
    EXPECT_EQ(contentOf(file), "somebody else's");
}

TEST_F(WrittenFile, LeavesTheOthersNamesOfAFileAlone) {
    const std::string victim = folder + "/victim";
    std::ofstream(victim) << "precious";
    fs::create_hard_link(victim, file);
    writeFile(file, "new");
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_EQ(contentOf(victim), "precious");
}

TEST_F(WrittenFile, StaysAsItWasWhenThereIsNoRoom) {
    std::ofstream(file) << "old";
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit tight = {100, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    expectFailure("File too large", std::string(1000, 'x'));
    ::setrlimit(RLIMIT_FSIZE, &before);
    (void)std::signal(SIGXFSZ, handler);
    EXPECT_EQ(contentOf(file), "old");
}

TEST_F(WrittenFile, StaysADirectoryIfItIsOne) {
    fs::create_directory(file);
    expectFailure("it is not a regular file");
}

} // namespace

} // namespace pacerctl
