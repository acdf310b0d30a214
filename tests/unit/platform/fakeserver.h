// A server that does what a test tells it, in a thread of its own.
#pragma once

#include "ovsdb/framesplitter.h"
#include "ovsdb/json.h"
#include "ovsdb/uniquefd.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace zel::test {

// One client's connection, for the script. Every wait ends when the client or the test is gone.
class FakePeer {
  public:
    explicit FakePeer(int fd) : fd_(fd) {}

    // The client's next message; nothing once it has gone.
    std::optional<ovsdb::Json> read();
    // False once the client has gone.
    bool send(const std::string& bytes);
    bool reply(const ovsdb::Json& request, const ovsdb::Json& result);
    bool refuse(const ovsdb::Json& request, const ovsdb::Json& error);

    // Answers the two requests with which a client begins. False if they do not come.
    bool answerSchema(const ovsdb::Json& schema);
    bool answerMonitor(const ovsdb::Json& tables = ovsdb::Json::object());
    // An update notification of the client's monitor.
    bool update(const ovsdb::Json& tables);

    // Lets so many bytes wait for the client before send() does; root only, else false.
    bool makeRoom(int bytes) const;

    // Reads and forgets until the client has gone.
    void waitUntilClosed();
    // The same without reading.
    void sleepUntilClosed() const;

  private:
    int fd_;
    ovsdb::FrameSplitter splitter_;
};

// {"UUID": {"new": ROW}}, for a table of an answer or an update. `number` makes the uuid.
ovsdb::Json rowOf(int number, const ovsdb::Json& row);
std::string uuidOf(int number);

class FakeServer {
  public:
    // Called for each connection in turn, with its number from 0; the connection is closed when it returns.
    using Script = std::function<void(FakePeer& peer, int connection)>;

    FakeServer(std::string path, Script script);
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;
    ~FakeServer();

    int connections() const { return connections_; }

  private:
    void run();

    std::string path_;
    Script script_;
    ovsdb::UniqueFd listener_;
    std::atomic<int> current_ = -1;
    std::atomic<int> connections_ = 0;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace zel::test
