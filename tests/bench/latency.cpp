#include "benches.h"
#include "gateway.h"
#include "report.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>
#include <zel/sysloglevel.h>

#include <atomic>
#include <thread>

namespace bench {

namespace {

constexpr int samples = 2000;

class TimingHandler final : public zel::cfg::IConfigHandler {
  public:
    void getWatchedTables(std::list<std::string>& tables) override { tables.emplace_back("StatusDsl"); }

    bool checkConfigChange(const zel::cfg::common::IConfigClient& /*client*/,
                           const std::string& table) override {
        entered = Clock::now().time_since_epoch().count();
        calls += table.empty() ? 0 : 1;
        ready = true;
        return false;
    }

    void processConfigChange(const zel::cfg::common::IConfigClient& /*client*/) override {}

    std::atomic<Clock::rep> entered = 0;
    std::atomic<int> calls = 0;
    std::atomic<bool> ready = false;
};

} // namespace

// The daemon's loop with a handler that only looks at the clock; another thread commits.
int latency(const std::string& folder) {
    Gateway gateway(readyGateway("dsl-tripleplay"));
    ZEL_Sysloglevel_construct2("", "bench");
    basalt::net::EventDispatcher loop;
    zel::cfg::NotificationHandler client(e2e::serverSocket, loop, "bench", false, 60U, 500U, true, false);
    TimingHandler handler;
    client.registerConfigHandler(handler);
    client.initialize();

    std::vector<double> times;
    std::atomic<bool> done = false;
    std::thread committer([&] {
        e2e::eventually([&] { return handler.ready.load(); });
        for (int sample = 1; sample <= samples; ++sample) {
            e2e::pause(e2e::Milliseconds(1));
            const auto begin = Clock::now();
            gateway.db.update("StatusDsl", 1, {{"StatusString", "sample " + std::to_string(sample)}});
            while (handler.calls < sample) {
                std::this_thread::yield();
            }
            times.push_back(milliseconds(Clock::time_point(Clock::duration(handler.entered.load())) - begin));
        }
        done = true;
    });
    while (!done) {
        if (loop.handleEvents(50) != 0) {
            client.process();
        }
    }
    committer.join();
    client.unregisterConfigHandler(handler);

    Report report(folder, "latency");
    report.details() = {{"samples", samples}};
    report.add({"commit of a row until checkConfigChange, median", median(times), "ms", 0.5});
    report.add({"commit of a row until checkConfigChange, 99 %", quantile(times, 0.99), "ms"});
    return report.finish();
}

} // namespace bench
