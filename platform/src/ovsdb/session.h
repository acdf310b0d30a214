// A lasting connection to one database of an OVSDB server.
#pragma once

#include "ovsdb/framesplitter.h"
#include "ovsdb/replica.h"
#include "ovsdb/schema.h"
#include "ovsdb/transaction.h"
#include "ovsdb/unixstream.h"

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace ovsdb {

struct SessionOptions {
    std::string socketPath;
    std::string database;
    // To keep a replica of. Tables that the database does not have are passed over. Empty: no replica, the
    // session is live as soon as it has the schema.
    std::vector<std::string> tables;
    std::chrono::milliseconds answerTimeout{60'000};
    std::chrono::milliseconds reconnectPause{500};
    bool reconnect = true;
    // User ids that may own the server's end of the socket.
    std::vector<uid_t> trustedUsers = {0, ::geteuid()};
    // Bytes of one message, and of all changes that are kept while an operation waits.
    std::size_t maxBytes = FrameSplitter::defaultMaxBytes;
    RowGuard guard;
};

// Hears of what lies outside of the flow of changes. Must not call back into the session. What is not
// overridden is not listened to.
class SessionObserver {
  public:
    SessionObserver() = default;
    SessionObserver(const SessionObserver&) = delete;
    SessionObserver& operator=(const SessionObserver&) = delete;
    virtual ~SessionObserver() = default;

    // Once per outage, however many attempts follow; and once more if, during that outage, a foreign peer is
    // found at the server's place. `reason` continues a sentence that begins with the server.
    virtual void onOutage(const std::string& /*reason*/) {}
    // The session is live again after an outage.
    virtual void onRecovery() {}
    // A connection has read the schema.
    virtual void onSchema(const DatabaseSchema& /*schema*/) {}
};

// What process() has taken in.
struct Change {
    bool snapshot = false; // the first after a connection: everything may be different
    std::vector<RowChange> rows;

    bool touches(const std::string& table) const;
};

// NOLINTNEXTLINE(bugprone-exception-escape): what it suspects, moving a Json, throws nothing
struct TransactResult {
    enum class Status {
        answered,     // `results` is what the server answered, see findError()
        notConnected, // there is no server to ask
        noAnswer,     // it may or may not have been done
        failed,       // the server refused the request as a whole: `error`
    };
    Status status = Status::notConnected;
    Json results;
    std::string error;
};

// Single-threaded and without a thread of its own. The owner polls descriptor() for pollEvents(), at most
// until deadline(), and then calls process(); while hasWork(), process() is due at once. The replica changes
// inside process() only, by one transaction at a time, with the one exception of waitForSnapshot().
class Session {
  public:
    using Clock = std::chrono::steady_clock;

    // The observer must outlive the session.
    Session(SessionOptions options, SessionObserver& observer);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() = default;

    // Makes the first attempt to connect, and lets the session connect by itself from then on. Returns
    // whether there is a server.
    bool start();

    int descriptor() const { return stream_.descriptor(); }
    short pollEvents() const;
    bool hasWork() const;
    std::optional<Clock::time_point> deadline() const;

    // Does what is due without waiting: connects, reads, answers, and takes in at most one snapshot or
    // update.
    std::optional<Change> process();

    bool isLive() const { return state_ == State::live; }
    // Why there is or was no connection, as onOutage() tells it. Empty before the first failure.
    const std::string& lastOutage() const { return lastOutage_; }
    // The last snapshot with all updates so far; nullptr before the first. Outlives the connection.
    const Replica* replica() const { return replica_ ? &*replica_ : nullptr; }
    // Of the last connection; nullptr before the first.
    const DatabaseSchema* schema() const { return schema_ ? &*schema_ : nullptr; }

    // The operations below wait for the server. They end early once `descriptor` is readable.
    void setInterrupt(int descriptor) { interrupt_ = descriptor; }

    // Connects if need be, and takes in the first snapshot, which process() then still reports. Only before
    // there is one.
    TransactResult::Status waitForSnapshot(std::chrono::milliseconds timeout);

    // Connects if need be. Changes that arrive meanwhile are kept for process(). A server that does not
    // answer within the answer timeout counts as lost.
    TransactResult transact(const Transaction& transaction);

    // Connects if need be, and reads the schema. For operations that have to know it.
    TransactResult::Status waitForSchema();

    // Follows another set of tables from now on; connects anew for it if that differs.
    void watch(std::vector<std::string> tables);

  private:
    enum class State { disconnected, schemaRequested, monitorRequested, live };

    bool attempt();
    void fail(const std::string& reason, bool foreignPeer = false);
    void failForSilence();
    template <typename Action>
    void guarded(Action action);
    void disconnect();
    std::optional<Change> advance();

    void receive();
    std::optional<std::string> nextMessage();
    std::optional<Change> handle(const Json& message);
    void handleForWaiter(std::string message);
    void handleCall(const Json& message);
    bool isUpdate(const Json& message) const;
    std::optional<Change> takeReply(const Json& reply);
    void takeSchema(const Json& reply);
    std::optional<Change> takeSnapshot(const Json& reply);
    Change goLive(Replica fresh);

    long long request(const char* method, Json params);
    static const Json& resultOf(const Json& reply, const char* request);

    template <typename Condition>
    TransactResult::Status waitFor(std::chrono::milliseconds patience, Condition condition);
    enum class Wait { ready, timedOut, interrupted };
    Wait waitForEvent(Clock::time_point deadline) const;

    SessionOptions options_;
    SessionObserver& observer_;
    int interrupt_ = -1;

    State state_ = State::disconnected;
    UnixStream stream_;
    FrameSplitter splitter_;
    long long lastId_ = 0;
    long long pendingId_ = 0;              // of the request that state_ waits for
    Clock::time_point due_ = Clock::now(); // disconnected: next attempt; else the pending answer's deadline
    Clock::time_point lastBytes_ = {};
    bool stopped_ = true; // no attempts of its own

    bool outage_ = false; // reported, and not over
    bool foreignPeerReported_ = false;
    std::string lastOutage_;

    std::optional<DatabaseSchema> schema_;
    std::optional<Replica> replica_;

    // Messages that a waiting operation has read and that process() has to handle.
    std::deque<std::string> inbox_;
    std::size_t inboxBytes_ = 0;
    bool snapshotInInbox_ = false;
    std::optional<Change> earlyChange_; // taken in by waitForSnapshot
    long long awaitedId_ = 0;           // of the transact request being waited for
    std::optional<Json> awaitedReply_;
};

} // namespace ovsdb
