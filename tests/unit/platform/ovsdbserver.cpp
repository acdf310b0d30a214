#include "ovsdbserver.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace zel::test {

using ovsdb::Json;
using Connect = ovsdb::UnixStream::Connect;

namespace {

pid_t spawn(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t pid = -1;
    if (::posix_spawn(&pid, words[0].c_str(), nullptr, nullptr, arguments.data(), environ) != 0) {
        throw std::runtime_error("cannot run " + words[0]);
    }
    return pid;
}

int waitFor(pid_t pid) {
    int status = -1;
    ::waitpid(pid, &status, 0);
    return status;
}

} // namespace

OvsdbServer::OvsdbServer(const std::string& directory, std::string socketPath, const Json& schema)
    : directory_(directory), socketPath_(std::move(socketPath)) {
    replaceDatabase(schema);
    start();
}

OvsdbServer::~OvsdbServer() {
    stop();
}

void OvsdbServer::replaceDatabase(const Json& schema) {
    const std::string schemaFile = directory_ + "/schema";
    const std::string database = directory_ + "/db";
    std::ofstream(schemaFile) << schema.dump();
    ::unlink(database.c_str());
    if (waitFor(spawn({OVSDB_TOOL, "create", database, schemaFile})) != 0) {
        throw std::runtime_error("no database at " + database);
    }
}

void OvsdbServer::start() {
    pid_ = spawn({OVSDB_SERVER, "--remote=punix:" + socketPath_, "--unixctl=" + directory_ + "/ctl",
                  "--verbose=off", directory_ + "/db"});
    ovsdb::UnixStream client;
    for (int attempt = 0; client.connect(socketPath_, {::geteuid()}) != Connect::connected; ++attempt) {
        if (attempt == 2000) {
            throw std::runtime_error("ovsdb-server does not start");
        }
        ::usleep(5000);
    }
}

void OvsdbServer::stop() {
    if (pid_ > 0) {
        signal(SIGCONT);
        signal(SIGTERM);
        waitFor(std::exchange(pid_, -1));
    }
}

void OvsdbServer::signal(int number) const {
    ::kill(pid_, number);
}

OtherClient::OtherClient(const std::string& socketPath, const std::string& database)
    : session_({.socketPath = socketPath, .database = database, .tables = {}, .guard = {}}, *this) {}

Json OtherClient::transact(const ovsdb::Transaction& transaction) {
    const ovsdb::TransactResult result = session_.transact(transaction);
    EXPECT_EQ(result.status, ovsdb::TransactResult::Status::answered)
        << result.error << " " << session_.lastOutage();
    const ovsdb::TransactError error = ovsdb::findError(result.results);
    EXPECT_EQ(error.error, "") << error.details;
    return result.results;
}

void OtherClient::insert(const std::string& table, const Json& row) {
    ovsdb::Transaction transaction;
    transaction.insert(table, row);
    transact(transaction);
}

void OtherClient::update(const std::string& table, int id, const Json& row) {
    ovsdb::Transaction transaction;
    transaction.update(table, Json::array({ovsdb::condition("Id", "==", id)}), row);
    transact(transaction);
}

void OtherClient::remove(const std::string& table, int id) {
    ovsdb::Transaction transaction;
    transaction.remove(table, Json::array({ovsdb::condition("Id", "==", id)}));
    transact(transaction);
}

Json OtherClient::rows(const std::string& table) {
    ovsdb::Transaction transaction;
    transaction.select(table, Json::array());
    return transact(transaction)[0]["rows"];
}

} // namespace zel::test
