// Where the tools remember what they were told: one folder per network namespace below /run/fapi-qos (or
// below $FAPI_QOS_STATE), and while anything is read or written a lock on the root folder.
//
//   <root>/<namespace cookie>/state   all but the rules; one line each; replaced as a whole by rename;
//                                     on a full disk written over, so that deletions need no room
//   <root>/<namespace cookie>/rules   one record of fixed size per rule, by slot, each written by itself
//   <root>/<namespace cookie>/busy    exists while the kernel is being changed. Found at a call's start: an
//                                     earlier call was killed, the kernel must be compared with the state
//
// The folder of a namespace goes away with its last object.
#pragma once

#include "model.h"
#include "unique_fd.h"

#include <string>

namespace fapi {

enum class Access { read, write };

class Store {
  public:
    // Waits for other calls to finish, at most 30 s; throws Failure when they do not, or when the root cannot
    // be used.
    explicit Store(Access access);

    // Throws Failure when a file cannot be read; also when what is stored is damaged, unless this call may
    // write: then it is as if nothing had been stored and a call had been interrupted, so that the kernel is
    // freed of what nobody knows of.
    State load();
    const std::string& damage() const { return damage_; }
    // before: what the store holds now. Between markBusy() and markDone().
    void save(const State& state, const State& before);
    // The same after a save() of `tried`, or what comes after it, has failed: any part of that may be stored.
    void saveBack(const State& state, const State& before, const State& tried);

    // Whether an earlier call was killed while it changed the kernel.
    bool interrupted() const;
    // Says that the kernel is being changed, from now on; returns whether an earlier call said so and was
    // killed.
    bool markBusy();
    void markDone();

    const std::string& folder() const { return folder_; }

  private:
    void lock(Access access);
    void requireOwn(int folder) const;
    void saveRules(const RuleTable& rules, const RuleTable& before);
    void saveText(const std::string& text);
    void makeFolder();

    std::string root_;
    std::string folder_;
    std::string busy_; // once everything is stored nothing may fail any more, not even for memory
    UniqueFd lock_;
    Access access_;
    std::string damage_;
    bool unfinished_ = false; // a file may lie there that was to become the state
    bool empty_ = false;      // nothing is stored any more
};

// The text of the file `state`; separate for tests. parseState throws Failure on a line it does not
// understand.
std::string formatState(const State& state);
State parseState(const std::string& text);

} // namespace fapi
