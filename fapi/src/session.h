// One call of a tool: the lock, the stored state without what the kernel has lost, and the one place where a
// change reaches the kernel and the store.
#pragma once

#include "classifier.h"
#include "links.h"
#include "model.h"
#include "netlink.h"
#include "ports.h"
#include "store.h"

#include <string>

namespace fapi {

class Session {
  public:
    explicit Session(Access access);

    const State& state() const { return state_; }
    // Why the stored state could not be read and was dropped; empty when it could.
    const std::string& damage() const { return store_.damage(); }
    Links& links() { return links_; }
    Ports& ports() { return ports_; }
    nl::Socket& socket() { return socket_; }

    // The interface of this name; throws Failure when there is none.
    Interface interface(const std::string& name);

    // Makes `next` the state: kernel first, then the store. When the kernel refuses, it is put back to what
    // it was and the refusal is thrown as Failure. force: a root qdisc of someone else is replaced.
    Missing commit(State next, bool force);

    Classifier& classifier() { return classifier_; }

  private:
    void repair();
    State present(const State& stored);
    void dropLostRules(State& present);
    // stored: what the kernel was last made to be; there: what it still has of it.
    Missing apply(const State& stored, const State& there, State& next, bool force, bool all);

    Store store_;
    nl::Socket socket_;
    Links links_;
    Ports ports_;
    Classifier classifier_;
    bool lost_ = false; // whether the next two differ; set while the second is made
    State stored_;      // as the last call left it
    State state_;       // as far as the kernel still has it
};

// Throws Failure unless this process may configure the network.
void needPrivileges();

} // namespace fapi
