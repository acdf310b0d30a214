#include "database.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace e2e {

namespace {

Json where(int id) {
    return Json::array({Json::array({"Id", "==", id})});
}

} // namespace

Database::~Database() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

void Database::connect() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit = {20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, serverSocket, sizeof address.sun_path - 1);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error(std::string("cannot connect to the database: ") + std::strerror(errno));
    }
}

// One request on the wire at a time, so whatever parses is the answer; the server's own echo requests are
// passed over, it sends them only to idle connections and does not mind within a test's time.
Json Database::call(const std::string& method, const Json& parameters) {
    static int id = 0;
    const std::string request = Json{{"method", method}, {"params", parameters}, {"id", ++id}}.dump();
    if (socket_ < 0 || ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        connect();
        ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL);
    }
    std::string received;
    std::array<char, 65536> buffer = {};
    for (;;) {
        const ssize_t count = ::recv(socket_, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            ::close(socket_);
            socket_ = -1;
            throw std::runtime_error("the database does not answer to " + method);
        }
        received.append(buffer.data(), static_cast<std::size_t>(count));
        const Json answer = Json::parse(received, nullptr, false);
        if (!answer.is_discarded() && answer.value("id", Json()) == id) {
            return answer;
        }
    }
}

Json Database::transact(const Json& operations) {
    Json parameters = Json::array({"Gateway"});
    parameters.insert(parameters.end(), operations.begin(), operations.end());
    const Json answer = call("transact", parameters);
    if (!answer["error"].is_null()) {
        throw std::runtime_error("transaction refused: " + answer.dump());
    }
    for (const Json& result : answer["result"]) {
        if (result.is_null() || result.contains("error")) {
            throw std::runtime_error("transaction failed: " + answer["result"].dump());
        }
    }
    return answer["result"];
}

Json Database::insertion(const std::string& table, const Json& row) {
    return {{"op", "insert"}, {"table", table}, {"row", row}};
}

Json Database::updating(const std::string& table, int id, const Json& columns) {
    return {{"op", "update"}, {"table", table}, {"where", where(id)}, {"row", columns}};
}

Json Database::removal(const std::string& table, int id) {
    return {{"op", "delete"}, {"table", table}, {"where", where(id)}};
}

void Database::replaceAll(const Json& configuration) {
    const Json schema = call("get_schema", Json::array({"Gateway"}))["result"];
    Json operations = Json::array();
    for (const auto& [table, unused] : schema["tables"].items()) {
        operations.push_back({{"op", "delete"}, {"table", table}, {"where", Json::array()}});
    }
    for (const auto& [table, rows] : configuration.items()) {
        for (const Json& row : rows) {
            operations.push_back(insertion(table, row));
        }
    }
    transact(operations);
}

void Database::insert(const std::string& table, const Json& row) {
    transact(Json::array({insertion(table, row)}));
}

void Database::update(const std::string& table, int id, const Json& columns) {
    const Json result = transact(Json::array({updating(table, id, columns)}));
    if (result[0]["count"] != 1) {
        throw std::runtime_error("no row " + std::to_string(id) + " in " + table);
    }
}

void Database::remove(const std::string& table, int id) {
    const Json result = transact(Json::array({removal(table, id)}));
    if (result[0]["count"] != 1) {
        throw std::runtime_error("no row " + std::to_string(id) + " in " + table);
    }
}

} // namespace e2e
