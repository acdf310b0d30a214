#include "fakepath.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace pacerctl::test {

FakePath::FakePath() {
    std::string name = std::filesystem::temp_directory_path() / "pacerctl-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot create " + name);
    }
    directory_ = name;
    const char* path = std::getenv("PATH");
    oldPath_ = path == nullptr ? "" : path;
    ::setenv("PATH", directory_.c_str(), 1);
    std::filesystem::create_symlink("/bin/grep", directory_ + "/grep");
}

FakePath::~FakePath() {
    ::setenv("PATH", oldPath_.c_str(), 1);
    std::filesystem::remove_all(directory_);
}

void FakePath::add(const std::string& program, const std::string& script) const {
    const std::string file = directory_ + "/" + program;
    std::ofstream(file) << "#!/bin/sh\nPATH=/usr/bin:/bin\n" << script;
    ::chmod(file.c_str(), 0755);
}

std::string FakePath::read(const std::string& file) const {
    std::ifstream stream(directory_ + "/" + file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace pacerctl::test
