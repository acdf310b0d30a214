#include "sharefiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace gateway::test {

std::string schemaFile() {
    return SOURCE_DIR "/share/gateway.ovsschema";
}

ovsdb::DatabaseSchema schema() {
    return ovsdb::DatabaseSchema::parse(ovsdb::parseJson(readSourceFile("share/gateway.ovsschema")));
}

std::string readSourceFile(const std::string& path) {
    std::ifstream file(SOURCE_DIR "/" + path, std::ios::binary);
    if (!file.is_open()) {
        throw std::runtime_error(path + " is not there");
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> exampleNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SOURCE_DIR "/share/examples")) {
        if (entry.path().extension() == ".json") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string exampleText(const std::string& name) {
    return readSourceFile("share/examples/" + name + ".json");
}

GatewayFile example(const std::string& name) {
    return parseGatewayFile(name + ".json", exampleText(name));
}

} // namespace gateway::test
