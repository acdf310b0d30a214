#include "process/sandbox.h"

#include <stdlib.h> // mkdtemp

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

namespace zel::test {

Sandbox::Sandbox() {
    std::string name = (std::filesystem::temp_directory_path() / "pacerd-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    directory_ = name;
}

Sandbox::~Sandbox() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string Sandbox::write(const std::string& name, const std::string& content) const {
    std::ofstream(directory_ / name, std::ios::binary) << content;
    return path(name);
}

std::string Sandbox::read(const std::string& name) const {
    std::ifstream file(directory_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace zel::test
