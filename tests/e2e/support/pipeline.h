// A client of the database that does not wait for answers: many transactions on the wire at once.
#pragma once

#include "database.h"
#include "process.h"

#include <cstddef>
#include <string>

namespace e2e {

class Pipeline {
  public:
    Pipeline(); // connects; throws std::runtime_error
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    // One transaction. It is sent by move() or finish(), as the server takes it.
    void add(const Json& operations);

    // Sends and receives what can be without waiting.
    void move();

    // Until the server has answered everything; false if it does not.
    bool finish(Milliseconds limit = patience);

    // Connects, sends the first half of a transaction, and is gone.
    static void sendHalf(const Json& operations);

    std::size_t added() const { return added_; }
    std::size_t answered() const { return answered_; } // refusals, too

  private:
    int socket_;
    std::size_t added_ = 0;
    std::size_t answered_ = 0;
    std::string unsent_;
    std::string received_;
};

} // namespace e2e
