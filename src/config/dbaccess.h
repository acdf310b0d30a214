// The one place where the daemon talks to the configuration database.
#pragma once

#include <zel/cfg/common/iconfigclient.h>

#include <cstdint>
#include <string>

namespace zel::pacerd {

// Built on the stack for one look-up and dropped on return. Every operation goes through cfgClientOperation,
// which retries a transient failure after a second, up to 50 times, and blocks the daemon's only thread
// meanwhile. All operations return false on failure, after logging why.
//
// A row that is not there is recognised by the absence of its column "Id".
class dbAccess {
  public:
    // `configClient` is not owned and must outlive this object.
    dbAccess(int handle, const cfg::common::IConfigClient& configClient);
    dbAccess(const dbAccess&) = delete;
    dbAccess& operator=(const dbAccess&) = delete;
    virtual ~dbAccess();

    virtual bool updateKey(const std::string& table, const std::string& keyColumn,
                           const std::string& keyValue, basalt::ValueList values) const;
    virtual bool updateRow(const std::string& table, unsigned index, basalt::ValueList values) const;
    virtual bool insertRow(const std::string& table, basalt::ValueList values) const;
    // True also when there is no such row.
    virtual bool deleteKey(const std::string& table, const std::string& keyColumn,
                           const std::string& keyValue) const;
    virtual bool deleteAll(const std::string& table) const;

    // Walk a table with indices 0 to size - 1.
    bool selectRow(const std::string& table, unsigned index, basalt::ValueList& row) const;
    // With `mustExist` false a missing row is a success with an empty row.
    bool selectKey(const std::string& table, const std::string& keyColumn, const std::string& keyValue,
                   basalt::ValueList& row, bool mustExist) const;
    // Leaves `count` alone on failure.
    bool size(const std::string& table, unsigned& count) const;

    // Nothing in the daemon opens a transaction. Start and commit are skipped, with a message and false, when
    // the client already had one open as this object was built.
    bool startTransaction();
    bool commitTransaction();
    bool rollbackTransaction();

    // The dispatcher: performs operation `op` (see dbaccess.cpp) and classifies its result. Which of the
    // other arguments count depends on the operation.
    bool cfgClientOperation(unsigned op, const std::string& table, unsigned offset,
                            const std::string& keyColumn, const std::string& keyValue,
                            basalt::ValueList& values) const;

  private:
    using ResultCode = basalt::protocol::EResultCode;

    ResultCode callClient(unsigned op, const std::string& table, unsigned offset,
                          const std::string& keyColumn, const std::string& keyValue,
                          basalt::ValueList& values) const;

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    std::uint32_t maxRetries = 50;
    std::uint32_t retryDelayUs = 1000000;
    bool externalTransaction; // the client had a transaction open when this object was built
    bool internalTransaction = false;
};

} // namespace zel::pacerd
