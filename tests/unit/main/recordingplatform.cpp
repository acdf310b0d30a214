#include "recordingplatform.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>
#include <zel/daemon.h>
#include <zel/error/assert.h>
#include <zel/sysloglevel.h>

#include <memoryclient.h>

#include <csignal>
#include <stdexcept>
#include <utility>

namespace {

using zel::pacerd::test::RecordingPlatform;

constexpr int moduleHandle = 42;

RecordingPlatform* current = nullptr;

void note(const std::string& what) {
    current->record.push_back(what);
}

void noteMessage(const char* level, int handle, const char* source, const std::string& text) {
    current->sources.insert(source);
    note(level + (": " + text) + (handle == moduleHandle ? "" : " (under another module)"));
}

} // namespace

namespace zel::pacerd::test {

RecordingPlatform::RecordingPlatform() {
    if (std::exchange(current, this) != nullptr) {
        throw std::logic_error("there is a recording platform already");
    }
}

RecordingPlatform::~RecordingPlatform() {
    current = nullptr;
}

} // namespace zel::pacerd::test

void ZEL_Sysloglevel_construct2(const std::string& prefix, const char* programPath) {
    note("open the log as '" + prefix + "' '" + programPath + "'");
}

int ZEL_Sysloglevel_registerModul(const char* name) {
    note(std::string("register the module ") + name);
    return moduleHandle;
}

void ZEL_Sysloglevel_changeTracelevel(const char* module, unsigned int level) {
    note(std::string("trace level of ") + module + ": " + std::to_string(level));
}

void ZEL_Sysloglevel_set(int daemonized) {
    note("log as a daemon: " + std::to_string(daemonized));
}

void ZEL_Sysloglevel_error(int handle, const char* source, int /*line*/, const std::string& text) {
    noteMessage("error", handle, source, text);
}

void ZEL_Sysloglevel_warning(int handle, const char* source, int /*line*/, const std::string& text) {
    noteMessage("warning", handle, source, text);
}

void ZEL_Sysloglevel_info(int handle, const char* source, int /*line*/, const std::string& text) {
    noteMessage("info", handle, source, text);
}

void ZEL_Sysloglevel_tracedo(int /*handle*/, const char* /*source*/, int /*line*/,
                             const std::string& /*text*/, unsigned int /*traceClass*/) {}

struct ZEL_Daemon::Impl {};

ZEL_Daemon::ZEL_Daemon() = default;
ZEL_Daemon::~ZEL_Daemon() = default;

void ZEL_Daemon_construct(ZEL_Daemon& /*daemon*/, const std::string& name, const std::string& directory) {
    note("pid file of " + name + " in " + directory);
}

bool ZEL_Daemon_occupiedPidFile(const ZEL_Daemon& /*daemon*/) {
    note("look at the pid file");
    return current->pidFileOccupied;
}

void ZEL_Daemon_daemonize(ZEL_Daemon& /*daemon*/) {
    note("go into the background");
}

ZEL_Daemon_PidFile ZEL_Daemon_createPidFile(ZEL_Daemon& /*daemon*/) {
    note("write the pid file");
    return current->pidFileTakenByOther ? ZEL_Daemon_PidFile::heldByOther : ZEL_Daemon_PidFile::written;
}

void ZEL_Daemon_deletePidFile(ZEL_Daemon& /*daemon*/) {
    note("delete the pid file");
}

namespace zel::error {

void Assert::throwAssertionFailed(const std::string& expression, const char* /*file*/, int /*line*/) {
    throw AssertionFailed(expression);
}

void Assert::throwAllocationFailed(const std::string& object, const char* /*file*/, int /*line*/) {
    throw AllocationFailed(object);
}

DefaultAssertHook::DefaultAssertHook() {
    note("hook on");
}

DefaultAssertHook::~DefaultAssertHook() {
    note("hook off");
}

void DefaultAssertHook::setSyslog(bool on) {
    note(std::string("assertions to syslog: ") + (on ? "yes" : "no"));
}

} // namespace zel::error

struct basalt::net::EventDispatcher::Impl {};

basalt::net::EventDispatcher::EventDispatcher() {
    note("loop on");
}

basalt::net::EventDispatcher::~EventDispatcher() {
    note("loop off");
}

int basalt::net::EventDispatcher::handleEvents(unsigned int boundMs) {
    note("wait " + std::to_string(boundMs));
    if (current->waits.empty()) {
        static_cast<void>(std::raise(SIGTERM));
        return 0;
    }
    const auto wait = current->waits.front();
    current->waits.erase(current->waits.begin());
    return wait();
}

namespace zel::cfg {

struct NotificationHandler::Impl {
    memory::MemoryClient client;
    IConfigHandler* handler = nullptr;
};

NotificationHandler::NotificationHandler(const std::string& socketPath, basalt::net::EventDispatcher&,
                                         const std::string& name, bool readOnly, unsigned int answerSeconds,
                                         unsigned int reconnectMs, bool reconnect, bool traceProtocol)
    : impl_(std::make_unique<Impl>()) {
    note("connect " + name + " to " + socketPath + ": " + std::to_string(readOnly) + " " +
         std::to_string(answerSeconds) + " " + std::to_string(reconnectMs) + " " + std::to_string(reconnect) +
         " " + std::to_string(traceProtocol));
    current->onConnect();
}

NotificationHandler::~NotificationHandler() {
    note("disconnect");
}

void NotificationHandler::registerConfigHandler(IConfigHandler& handler) {
    note("register the handler");
    impl_->handler = &handler;
}

void NotificationHandler::unregisterConfigHandler(IConfigHandler& handler) {
    note(&handler == impl_->handler ? "unregister the handler" : "unregister a stranger");
}

// A server that is not there: main() has to go on.
bool NotificationHandler::initialize() {
    note("initialize");
    return false;
}

void NotificationHandler::process() {
    note("process");
    current->onProcess();
    impl_->handler->checkConfigChange(impl_->client, "");
}

const common::IConfigClient& NotificationHandler::getConfigClient() const {
    note("get the client");
    return impl_->client;
}

} // namespace zel::cfg
