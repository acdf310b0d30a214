#include "cfgctl/initdb.h"

#include "cfgctl/database.h"
#include "cfgctl/failure.h"
#include "ovsdb/schema.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace cfgctl {

namespace {

namespace fs = std::filesystem;

// So that a database that no one would ever find is not made.
void checkSchema(const std::string& schemaFile) {
    std::ifstream file(schemaFile, std::ios::binary);
    if (!file.is_open()) {
        throw Failure(ExitStatus::failure, schemaFile + ": " + std::strerror(errno));
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::string name;
    try {
        name = ovsdb::DatabaseSchema::parse(ovsdb::parseJson(text)).name;
    } catch (const ovsdb::ProtocolError&) {
        throw Failure(ExitStatus::failure, schemaFile + ": not a database schema");
    }
    if (name != databaseName) {
        throw Failure(ExitStatus::failure, schemaFile + ": the schema of a database \"" + name +
                                               "\"; the configuration database is called \"" + databaseName +
                                               "\"");
    }
}

// Without a shell, so that no file name can mean anything else.
int runOvsdbTool(const std::string& databaseFile, const std::string& schemaFile) {
    std::array<std::string, 5> words = {"ovsdb-tool", "--", "create", databaseFile, schemaFile};
    std::array<char*, words.size() + 1> arguments = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        arguments[i] = words[i].data();
    }
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, words[0].c_str(), nullptr, nullptr, arguments.data(), environ);
    if (error != 0) {
        throw Failure(ExitStatus::failure, std::string("cannot run ovsdb-tool: ") + std::strerror(error));
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

std::string ownSchemaFile() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const fs::path schema = program.parent_path().parent_path() / "share/pacerd_ng/gateway.ovsschema";
    if (error || !fs::exists(schema, error)) {
        throw Failure(ExitStatus::failure, schema.string() + " is not there; name a schema with --schema");
    }
    return schema.string();
}

void createDatabase(const std::string& databaseFile, const std::string& schemaFile) {
    std::error_code error;
    if (fs::symlink_status(databaseFile, error).type() != fs::file_type::not_found) {
        throw Failure(ExitStatus::failure, databaseFile + " exists already; it is left as it is");
    }
    checkSchema(schemaFile);
    if (runOvsdbTool(databaseFile, schemaFile) != 0) {
        throw Failure(ExitStatus::failure, databaseFile + " could not be made");
    }
}

} // namespace cfgctl
