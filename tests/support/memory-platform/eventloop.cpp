// Event loop and notifications: the database file is looked at a few times a second.
#include "memoryclient.h"
#include "rowfile.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>
#include <zel/sysloglevel.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <functional>
#include <list>
#include <utility>

namespace {

// One call waits no longer than this, so that a stop signal which came just before the wait is noticed soon.
constexpr unsigned int longestWaitMs = 20;

// Tells one state of a file from another.
using Stamp = std::pair<ino_t, std::pair<std::time_t, long>>;

} // namespace

struct basalt::net::EventDispatcher::Impl {
    std::function<bool()> hasWork;
};

basalt::net::EventDispatcher::EventDispatcher() : impl_(std::make_unique<Impl>()) {}
basalt::net::EventDispatcher::~EventDispatcher() = default;

int basalt::net::EventDispatcher::handleEvents(unsigned int boundMs) {
    const auto ready = [this] { return impl_->hasWork && impl_->hasWork() ? 1 : 0; };
    if (ready() != 0) {
        return 1;
    }
    const timespec pause{0, static_cast<long>(std::min(boundMs, longestWaitMs)) * 1'000'000};
    nanosleep(&pause, nullptr);
    return ready();
}

namespace zel::cfg {

struct NotificationHandler::Impl {
    struct Registration {
        IConfigHandler* handler;
        std::list<std::string> tables;
        bool called = false;
    };

    basalt::net::EventDispatcher& dispatcher;
    std::string name;
    std::string path;
    Stamp loaded;
    memory::MemoryClient client;
    std::list<Registration> registrations;

    Impl(basalt::net::EventDispatcher& loop, std::string program)
        : dispatcher(loop), name(std::move(program)) {
        const char* file = std::getenv("PACERD_MEMORY_DB");
        path = file != nullptr ? file : "";
    }

    // The stamp of no file equals that of nothing loaded: a file that is gone changes nothing.
    Stamp stamp() const {
        struct stat state {};
        if (stat(path.c_str(), &state) != 0) {
            return loaded;
        }
        return {state.st_ino, {state.st_mtim.tv_sec, state.st_mtim.tv_nsec}};
    }

    void notify(Registration& registration, const std::string& table) const {
        if (registration.handler->checkConfigChange(client, table)) {
            registration.handler->processConfigChange(client);
        }
    }
};

NotificationHandler::NotificationHandler(const std::string&, basalt::net::EventDispatcher& dispatcher,
                                         const std::string& name, bool, unsigned int, unsigned int, bool,
                                         bool)
    : impl_(std::make_unique<Impl>(dispatcher, name)) {}

NotificationHandler::~NotificationHandler() {
    impl_->dispatcher.impl().hasWork = nullptr;
}

void NotificationHandler::registerConfigHandler(IConfigHandler& handler) {
    impl_->registrations.push_back({&handler, {}});
    handler.getWatchedTables(impl_->registrations.back().tables);
}

void NotificationHandler::unregisterConfigHandler(IConfigHandler& handler) {
    impl_->registrations.remove_if(
        [&](const Impl::Registration& registration) { return registration.handler == &handler; });
}

bool NotificationHandler::initialize() {
    impl_->dispatcher.impl().hasWork = [impl = impl_.get()] { return impl->stamp() != impl->loaded; };
    return impl_->stamp() != impl_->loaded;
}

void NotificationHandler::process() {
    const Stamp now = impl_->stamp();
    if (now == impl_->loaded) {
        return;
    }
    impl_->loaded = now;
    memory::Tables before = impl_->client.tables();
    try {
        std::ifstream file(impl_->path);
        impl_->client.setTables(memory::readRows(file));
    } catch (const std::exception& error) {
        ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul(impl_->name.c_str()), "eventloop.cpp", __LINE__,
                              "keeping the rows as they were, " + impl_->path + " " + error.what());
        return;
    }
    const memory::Tables after = impl_->client.tables();
    for (Impl::Registration& registration : impl_->registrations) {
        if (!std::exchange(registration.called, true)) {
            impl_->notify(registration, "");
            continue;
        }
        for (const std::string& table : registration.tables) {
            const auto rows = [&](const memory::Tables& tables) {
                const auto found = tables.find(table);
                return found == tables.end() ? memory::Rows{} : found->second;
            };
            if (rows(before) != rows(after)) {
                impl_->notify(registration, table);
            }
        }
    }
}

const common::IConfigClient& NotificationHandler::getConfigClient() const {
    return impl_->client;
}

} // namespace zel::cfg
