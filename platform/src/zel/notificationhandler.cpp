#include "basalt/dispatcherimpl.h"
#include "ovsdb/session.h"
#include "zel/configclient.h"
#include "zel/gatewaytables.h"
#include "zel/rowgate.h"

#include <zel/cfg/notificationhandler.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <malloc.h>

#include <algorithm>
#include <list>
#include <set>
#include <vector>

namespace zel::cfg {

namespace {

// One registered handler.
struct Registration {
    IConfigHandler* handler = nullptr; // once it is unregistered
    std::vector<std::string> tables;
    bool initialCallMade = false;
};

std::vector<std::string> gatewayTableNames() {
    std::vector<std::string> names;
    for (const GatewayTable& table : gatewayTables()) {
        names.emplace_back(table.name);
    }
    return names;
}

} // namespace

struct NotificationHandler::Impl final : private ovsdb::SessionObserver, private basalt::net::EventSource {
    Impl(ovsdb::SessionOptions options, basalt::net::EventDispatcher& loop, const std::string& name,
         bool readOnly)
        : path(options.socketPath), dispatcher(loop.impl()), session(std::move(options), *this),
          client(session, name, readOnly), log(ZEL_Sysloglevel_registerModul("configuration")) {
        // Before the program's first look at its stop flag: later would be too late for a signal in between.
        dispatcher.stopSignals.arm();
        dispatcher.attach(*this);
        session.setInterrupt(dispatcher.stopSignals.descriptor());
    }
    ~Impl() override { dispatcher.detach(*this); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void watchTables();
    void process();

    std::string path;
    basalt::net::EventDispatcher::Impl& dispatcher;
    ovsdb::Session session;
    ConfigClient client;
    std::vector<std::shared_ptr<Registration>> registrations;

  private:
    int descriptor() const override { return session.descriptor(); }
    short pollEvents() const override { return session.pollEvents(); }
    bool hasWork() const override;
    std::optional<Clock::time_point> deadline() const override { return session.deadline(); }

    void onOutage(const std::string& reason) override;
    void onRecovery() override;
    void onSchema(const ovsdb::DatabaseSchema& schema) override;

    void notify(Registration& registration, const ovsdb::Change& change);
    void call(Registration& registration, const std::string& table);

    int log;
    bool processing = false;
    std::set<std::string> reportedLacks;
};

// Every table of the gateway, so that each can be read, and what the handlers want besides.
void NotificationHandler::Impl::watchTables() {
    std::vector<std::string> tables = gatewayTableNames();
    for (const auto& registration : registrations) {
        for (const std::string& table : registration->tables) {
            if (std::find(tables.begin(), tables.end(), table) == tables.end()) {
                tables.push_back(table);
            }
        }
    }
    session.watch(std::move(tables));
}

bool NotificationHandler::Impl::hasWork() const {
    const bool initialCallIsDue =
        session.replica() != nullptr && std::any_of(registrations.begin(), registrations.end(),
                                                    [](const auto& each) { return !each->initialCallMade; });
    return session.hasWork() || initialCallIsDue;
}

void NotificationHandler::Impl::process() {
    if (processing) {
        return; // a handler has called it
    }
    struct Flag {
        explicit Flag(bool& flag) : value(flag) { value = true; }
        ~Flag() { value = false; }
        Flag(const Flag&) = delete;
        Flag& operator=(const Flag&) = delete;
        bool& value;
    };
    const Flag flag(processing);

    const ovsdb::Change change = session.process().value_or(ovsdb::Change());
    if (session.replica() == nullptr) {
        return;
    }
    if (change.snapshot) {
        ::malloc_trim(0); // the parsed snapshot is several times the size of what is kept of it
    }
    const auto called = registrations; // handlers may come and go meanwhile
    for (const auto& registration : called) {
        notify(*registration, change);
    }
}

void NotificationHandler::Impl::notify(Registration& registration, const ovsdb::Change& change) {
    if (registration.handler != nullptr && !registration.initialCallMade) {
        registration.initialCallMade = true;
        call(registration, "");
        return;
    }
    for (const std::string& table : registration.tables) {
        if (change.touches(table)) {
            call(registration, table);
        }
    }
}

void NotificationHandler::Impl::call(Registration& registration, const std::string& table) {
    if (registration.handler != nullptr && registration.handler->checkConfigChange(client, table) &&
        registration.handler != nullptr) {
        registration.handler->processConfigChange(client);
    }
}

void NotificationHandler::Impl::onOutage(const std::string& reason) {
    ZEL_Sysloglevel_error(log, "notificationhandler.cpp", __LINE__,
                          VAStr("configuration server at '%s' %s", path.c_str(), reason.c_str()));
}

void NotificationHandler::Impl::onRecovery() {
    ZEL_Sysloglevel_info(log, "notificationhandler.cpp", __LINE__,
                         VAStr("connected to the configuration server at '%s' again", path.c_str()));
}

// What a database lacks is said once, and again only if it has been there in between.
void NotificationHandler::Impl::onSchema(const ovsdb::DatabaseSchema& schema) {
    std::set<std::string> lacks;
    for (const GatewayTable& table : gatewayTables()) {
        if (schema.findTable(table.name) == nullptr) {
            lacks.insert(VAStr("database '%s' has no table '%s'", schema.name.c_str(), table.name));
            continue;
        }
        for (const GatewayColumn& column : table.columns) {
            if (schema.findColumn(table.name, column.name) == nullptr) {
                lacks.insert(VAStr("database '%s' has no column '%s' in table '%s'", schema.name.c_str(),
                                   column.name, table.name));
            }
        }
    }
    for (const std::string& lack : lacks) {
        if (reportedLacks.count(lack) == 0) {
            ZEL_Sysloglevel_error(log, "notificationhandler.cpp", __LINE__, lack);
        }
    }
    reportedLacks = std::move(lacks);
}

NotificationHandler::NotificationHandler(const std::string& socketPath,
                                         basalt::net::EventDispatcher& dispatcher, const std::string& name,
                                         bool readOnly, unsigned int answerSeconds, unsigned int reconnectMs,
                                         bool reconnect, bool /*traceProtocol*/) {
    ovsdb::SessionOptions options;
    options.socketPath = socketPath;
    options.database = gatewayDatabase;
    options.tables = gatewayTableNames();
    options.answerTimeout = std::chrono::seconds(answerSeconds);
    options.reconnectPause = std::chrono::milliseconds(reconnectMs);
    options.reconnect = reconnect;
    options.guard = [gate = RowGate(ZEL_Sysloglevel_registerModul("configuration"))](
                        const std::string& table, const std::string& uuid,
                        const basalt::ValueList& row) mutable { return gate.admits(table, uuid, row); };
    impl_ = std::make_unique<Impl>(std::move(options), dispatcher, name, readOnly);
}

NotificationHandler::~NotificationHandler() = default;

void NotificationHandler::registerConfigHandler(IConfigHandler& handler) {
    std::list<std::string> tables;
    handler.getWatchedTables(tables);
    auto registration = std::make_shared<Registration>();
    registration->handler = &handler;
    registration->tables.assign(tables.begin(), tables.end());
    impl_->registrations.push_back(std::move(registration));
    impl_->watchTables();
}

void NotificationHandler::unregisterConfigHandler(IConfigHandler& handler) {
    std::erase_if(impl_->registrations, [&](const std::shared_ptr<Registration>& each) {
        if (each->handler != &handler) {
            return false;
        }
        each->handler = nullptr; // a round that is under way ends here
        return true;
    });
}

bool NotificationHandler::initialize() {
    return impl_->session.start();
}

void NotificationHandler::process() {
    impl_->process();
}

const common::IConfigClient& NotificationHandler::getConfigClient() const {
    return impl_->client;
}

} // namespace zel::cfg
