#include "gateway.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace importers::test {

std::string testFile(const std::string& name) {
    std::ifstream file(IMPORT_FILES "/" + name, std::ios::binary);
    if (!file.is_open()) {
        throw std::runtime_error("no test file " + name);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string remarkLines(const std::string& fileName, const Imported& imported) {
    std::string text;
    for (const Remark& remark : imported.remarks) {
        text += toText(fileName, remark) + "\n";
    }
    return text;
}

} // namespace importers::test
