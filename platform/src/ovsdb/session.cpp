#include "ovsdb/session.h"

#include <poll.h>

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

namespace ovsdb {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t receiveBytes = 16'384;
constexpr int receivesPerTurn = 16;
// Answers to echo requests that wait for the server to read.
constexpr std::size_t maxUnsentEchoes = std::size_t{1} << 20;
// Names the one monitor of a session in the server's notifications.
constexpr const char* monitorName = "replica";

std::string seconds(milliseconds time) {
    std::string text = std::to_string(time.count() / 1000);
    return time.count() % 1000 == 0 ? text + " s" : std::to_string(time.count()) + " ms";
}

const Json& member(const Json& message, const char* name) {
    static const Json none;
    const auto found = message.find(name);
    return found == message.end() ? none : *found;
}

// {"error": "unknown database", "details": "..."}, or anything else that a server puts there.
std::string describeError(const Json& error) {
    constexpr std::size_t longest = 200;
    const Json& word = error.is_object() ? member(error, "error") : error;
    std::string text = word.is_string() ? word.get<std::string>() : toText(error);
    if (error.is_object() && member(error, "details").is_string()) {
        text += " (" + error["details"].get<std::string>() + ")";
    }
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }, ' '); // it ends up in logs
    return text.substr(0, longest);
}

} // namespace

bool Change::touches(const std::string& table) const {
    return snapshot ||
           std::any_of(rows.begin(), rows.end(), [&](const RowChange& row) { return row.table == table; });
}

Session::Session(SessionOptions options, SessionObserver& observer)
    : options_(std::move(options)), observer_(observer), splitter_(options_.maxBytes) {}

bool Session::start() {
    stopped_ = false;
    return state_ != State::disconnected || attempt();
}

short Session::pollEvents() const {
    return static_cast<short>(stream_.unsentBytes() != 0 ? POLLIN | POLLOUT : POLLIN);
}

bool Session::hasWork() const {
    return earlyChange_.has_value() || !inbox_.empty() || splitter_.ready();
}

std::optional<Session::Clock::time_point> Session::deadline() const {
    std::optional<Clock::time_point> earliest;
    if (state_ != State::live && !(state_ == State::disconnected && stopped_)) {
        earliest = due_;
    }
    if (splitter_.partial()) {
        const auto silence = lastBytes_ + options_.answerTimeout;
        earliest = earliest ? std::min(*earliest, silence) : silence;
    }
    return earliest;
}

std::optional<Change> Session::process() {
    if (earlyChange_) {
        return std::exchange(earlyChange_, std::nullopt);
    }
    if (state_ == State::disconnected) {
        if (!stopped_ && Clock::now() >= due_) {
            attempt();
        }
        return std::nullopt;
    }
    std::optional<Change> change;
    guarded([&] { change = advance(); });
    return change;
}

// Whatever a server sends ends the connection at worst.
template <typename Action>
void Session::guarded(Action action) {
    try {
        action();
    } catch (const ProtocolError& error) {
        fail(std::string("sent ") + error.what());
    } catch (const Json::exception& error) {
        fail(std::string("sent a message that cannot be read: ") + error.what());
    } catch (const std::bad_alloc&) {
        fail("sent more than the memory holds");
    }
}

std::optional<Change> Session::advance() {
    stream_.flush();
    if (inbox_.empty() && !splitter_.ready()) {
        receive();
    }
    while (const auto message = nextMessage()) {
        if (auto change = handle(parseJson(*message))) {
            return change;
        }
    }
    const auto until = deadline();
    if (state_ != State::disconnected && until && Clock::now() >= *until) {
        failForSilence();
    }
    return std::nullopt;
}

std::optional<std::string> Session::nextMessage() {
    if (inbox_.empty()) {
        return splitter_.next();
    }
    std::string message = std::move(inbox_.front());
    inbox_.pop_front();
    inboxBytes_ -= message.size();
    return message;
}

bool Session::attempt() {
    switch (stream_.connect(options_.socketPath, options_.trustedUsers)) {
    case UnixStream::Connect::connected:
        break;
    case UnixStream::Connect::foreignPeer:
        fail("is refused: " + stream_.lastError(), true);
        return false;
    case UnixStream::Connect::unreachable:
        fail("cannot be reached: " + stream_.lastError());
        return false;
    }
    state_ = State::schemaRequested;
    pendingId_ = request("get_schema", Json::array({options_.database}));
    due_ = Clock::now() + options_.answerTimeout;
    return true;
}

void Session::disconnect() {
    stream_.close();
    splitter_.clear();
    inbox_.clear();
    inboxBytes_ = 0;
    snapshotInInbox_ = false;
    state_ = State::disconnected;
}

void Session::fail(const std::string& reason, bool foreignPeer) {
    disconnect();
    due_ = Clock::now() + options_.reconnectPause;
    stopped_ = !options_.reconnect;
    const bool news = !outage_ || (foreignPeer && !foreignPeerReported_);
    outage_ = true;
    lastOutage_ = reason;
    foreignPeerReported_ = foreignPeerReported_ || foreignPeer;
    if (news) {
        observer_.onOutage(reason);
    }
}

void Session::failForSilence() {
    fail("gave no answer within " + seconds(options_.answerTimeout));
}

void Session::receive() {
    for (int turn = 0; turn < receivesPerTurn && !splitter_.ready(); ++turn) {
        std::string bytes;
        switch (stream_.receive(bytes, receiveBytes)) {
        case UnixStream::Receive::data:
            lastBytes_ = Clock::now();
            splitter_.append(bytes);
            break;
        case UnixStream::Receive::nothingYet:
            return;
        case UnixStream::Receive::closed:
            fail("is gone: " + stream_.lastError());
            return;
        }
    }
}

std::optional<Change> Session::handle(const Json& message) {
    if (member(message, "method").is_string()) {
        if (isUpdate(message)) {
            return Change{false, replica_->apply(member(message, "params")[1], options_.guard)};
        }
        handleCall(message);
        return std::nullopt;
    }
    return takeReply(message);
}

bool Session::isUpdate(const Json& message) const {
    const Json& params = member(message, "params");
    if (member(message, "method") != "update") {
        return false;
    }
    if (!params.is_array() || params.size() != 2) {
        throw ProtocolError("an update that cannot be read");
    }
    return state_ == State::live && params[0] == monitorName;
}

void Session::handleCall(const Json& message) {
    const std::string& method = message["method"].get_ref<const std::string&>();
    if (method == "echo") {
        const Json reply = {
            {"id", member(message, "id")}, {"result", member(message, "params")}, {"error", nullptr}};
        stream_.send(toText(reply));
        if (stream_.unsentBytes() > maxUnsentEchoes) {
            throw ProtocolError("echo requests without reading the answers");
        }
    } else if (method == "monitor_canceled") {
        fail("no longer serves the database '" + options_.database + "'");
    }
    // Other notices (of locks, say) belong to requests that are never made here.
}

std::optional<Change> Session::takeReply(const Json& reply) {
    const Json& id = member(reply, "id");
    if (!id.is_number_integer()) {
        throw ProtocolError("an answer to nothing");
    }
    if (id == awaitedId_) {
        awaitedReply_ = reply;
    } else if (id == pendingId_ && state_ == State::schemaRequested) {
        takeSchema(reply);
    } else if (id == pendingId_ && state_ == State::monitorRequested) {
        return takeSnapshot(reply);
    }
    return std::nullopt; // the late answer to a request that was given up
}

// The whole reply is a refusal if "error" is set.
const Json& Session::resultOf(const Json& reply, const char* what) {
    const Json& error = member(reply, "error");
    if (!error.is_null()) {
        throw ProtocolError(std::string("an error instead of ") + what + ": " + describeError(error));
    }
    return member(reply, "result");
}

void Session::takeSchema(const Json& reply) {
    schema_ = DatabaseSchema::parse(resultOf(reply, "the schema"));
    observer_.onSchema(*schema_);
    Json requests = Json::object();
    for (const std::string& table : options_.tables) {
        if (const TableSchema* found = schema_->findTable(table)) {
            Json& columns = requests[table]["columns"] = Json::array(); // unnamed, "_version" would come too
            for (const auto& column : found->columns) {
                columns.push_back(column.first);
            }
        }
    }
    if (options_.tables.empty()) {
        earlyChange_ = goLive(Replica(*schema_, {}));
        return;
    }
    state_ = State::monitorRequested;
    pendingId_ = request("monitor", Json::array({options_.database, monitorName, std::move(requests)}));
    due_ = Clock::now() + options_.answerTimeout;
}

std::optional<Change> Session::takeSnapshot(const Json& reply) {
    Replica fresh(*schema_, options_.tables);
    fresh.apply(resultOf(reply, "the tables"), options_.guard);
    return goLive(std::move(fresh));
}

Change Session::goLive(Replica fresh) {
    replica_ = std::move(fresh);
    state_ = State::live;
    snapshotInInbox_ = false;
    foreignPeerReported_ = false;
    if (std::exchange(outage_, false)) {
        observer_.onRecovery();
    }
    return Change{true, {}};
}

long long Session::request(const char* method, Json params) {
    const long long id = ++lastId_;
    const Json message = {{"method", method}, {"params", std::move(params)}, {"id", id}};
    stream_.send(toText(message));
    return id;
}

// --- operations that wait ---

TransactResult::Status Session::waitForSnapshot(milliseconds timeout) {
    using Status = TransactResult::Status;
    const Status status = waitFor(timeout, [this] { return snapshotInInbox_ || state_ == State::live; });
    if (status == Status::answered && !earlyChange_ && !replica_) {
        earlyChange_ = process();
        if (!earlyChange_) {
            return Status::notConnected; // what came was no snapshot
        }
    }
    return status;
}

TransactResult::Status Session::waitForSchema() {
    return waitFor(options_.answerTimeout,
                   [this] { return state_ == State::monitorRequested || state_ == State::live; });
}

TransactResult Session::transact(const Transaction& transaction) {
    using Status = TransactResult::Status;
    TransactResult result;
    result.status = waitForSchema();
    if (result.status != Status::answered) {
        return result;
    }
    Json params = Json::array({options_.database});
    for (const Json& operation : transaction.operations()) {
        params.push_back(operation);
    }
    awaitedReply_.reset();
    awaitedId_ = request("transact", std::move(params));
    result.status = waitFor(options_.answerTimeout, [this] { return awaitedReply_.has_value(); });
    awaitedId_ = 0;
    if (result.status == Status::answered) {
        const Json reply = std::move(*awaitedReply_);
        awaitedReply_.reset();
        if (const Json& error = member(reply, "error"); !error.is_null()) {
            return {Status::failed, Json(), describeError(error)};
        }
        result.results = member(reply, "result");
    }
    return result;
}

template <typename Condition>
TransactResult::Status Session::waitFor(milliseconds patience, Condition condition) {
    using Status = TransactResult::Status;
    if (state_ == State::disconnected && !attempt()) {
        return Status::notConnected;
    }
    // Counted from here: as long as the connection waits itself is not to end before due_.
    const auto until = Clock::now() + patience;
    while (!condition()) {
        guarded([this] {
            stream_.flush();
            if (!splitter_.ready()) {
                receive();
            }
            while (auto message = splitter_.next()) {
                handleForWaiter(std::move(*message));
            }
        });
        if (state_ == State::disconnected) {
            return Status::notConnected;
        }
        if (condition()) {
            break;
        }
        switch (waitForEvent(until)) {
        case Wait::ready:
            break;
        case Wait::timedOut:
            // A reader's patience may be shorter than the connection's.
            if (awaitedId_ != 0 || (state_ != State::live && Clock::now() >= due_)) {
                failForSilence();
            }
            return Status::noAnswer;
        case Wait::interrupted:
            return Status::noAnswer;
        }
    }
    return Status::answered;
}

// Replies that the connection itself needs and echoes are handled now; what changes the replica waits for
// process(), so that nobody's reads change under his hands.
void Session::handleForWaiter(std::string text) {
    const Json message = parseJson(text);
    const bool snapshot = state_ == State::monitorRequested && member(message, "id") == pendingId_;
    const bool call = member(message, "method").is_string();
    if (snapshot || (call && message["method"] != "echo")) {
        snapshotInInbox_ = snapshotInInbox_ || snapshot;
        inboxBytes_ += text.size();
        if (inboxBytes_ > options_.maxBytes) {
            throw ProtocolError("more changes than can be kept");
        }
        inbox_.push_back(std::move(text));
        return;
    }
    handle(message);
}

Session::Wait Session::waitForEvent(Clock::time_point until) const {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
    if (left <= 0) {
        return Wait::timedOut;
    }
    pollfd polled[] = {{stream_.descriptor(), pollEvents(), 0}, {interrupt_, POLLIN, 0}};
    const int ready = ::poll(polled, 2, static_cast<int>(std::min<long long>(left, INT_MAX)));
    if (ready > 0 && polled[1].revents != 0) {
        return Wait::interrupted;
    }
    return ready == 0 ? Wait::timedOut : Wait::ready;
}

void Session::watch(std::vector<std::string> tables) {
    if (tables == options_.tables) {
        return;
    }
    options_.tables = std::move(tables);
    if (state_ == State::monitorRequested || state_ == State::live) {
        disconnect();
        due_ = Clock::now();
    }
}

} // namespace ovsdb
