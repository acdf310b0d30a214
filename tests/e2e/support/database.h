// The configuration database at a test's hand: its own small OVSDB client, independent of the platform's.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace e2e {

using Json = nlohmann::json;

inline constexpr const char* serverSocket = "/tmp/cfgserver.socket";

class Database {
  public:
    Database() = default;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    // A configuration as the example files hold it: {"Table": [{"Column": value, ...}, ...], ...}. Replaces
    // everything that is there, in one transaction.
    void replaceAll(const Json& configuration);

    // One change, one transaction.
    void insert(const std::string& table, const Json& row);
    void update(const std::string& table, int id, const Json& columns);
    void remove(const std::string& table, int id);

    // Operations of one transaction, as RFC 7047 writes them. Throws std::runtime_error if one of them fails.
    Json transact(const Json& operations);

    static Json insertion(const std::string& table, const Json& row);
    static Json updating(const std::string& table, int id, const Json& columns);
    static Json removal(const std::string& table, int id);

  private:
    void connect();
    Json call(const std::string& method, const Json& parameters);

    int socket_ = -1;
};

} // namespace e2e
