// The daemon as its contract describes it, from start to exit: everything that it logs and runs.
#pragma once

#include "paths.h"

#include <functional>
#include <optional>
#include <set>

namespace e2e::model {

class DaemonModel {
  public:
    // The snapshot is what the database holds when the daemon starts.
    DaemonModel(ToolAnswers answers, bool traced, const Snapshot& snapshot);

    // One transaction that has changed these tables.
    void transaction(const Snapshot& snapshot, const std::set<std::string>& tables);

    // Goes down: after a stop signal, or because it has to.
    void stop();

    bool wantsToStop() const { return stop_ || status_; }
    std::optional<int> exitStatus() const { return status_; }
    const std::vector<std::string>& events() const { return world_.events(); }

  private:
    // Collected command lists, group by group.
    struct Connector {
        Commands maps, queues, rules, pcpMaps, shapers;
    };

    void guarded(const std::function<void()>& work);
    void change(const std::string& table);
    bool isWanUp();
    bool isDslUp();
    bool isWanoeEnabled();
    bool isInternetUp();
    bool checkConfigChange(const std::string& table);
    void processConfigChange();
    void collect(Connector& connector);
    bool applyAll();
    bool applyGroup(const Commands& commands);
    void removeAll();
    void removeGroup(const Commands& commands);

    World world_;
    bool initialised_ = false;
    int state_ = 0;
    int previous_ = 0;
    Paths paths_;
    std::optional<Connector> connector_;
    bool stop_ = false;
    std::optional<int> status_;
};

} // namespace e2e::model
