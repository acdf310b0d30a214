#include "pacerctl/wanstate.h"

#include "config/confighandler.h"
#include "config/tables.h"
#include "pacerctl/modelplatform.h"
#include "pacerctl/snapshotclient.h"

namespace pacerctl {

namespace {

namespace dbm = zel::pacerd::dbm;

WanCheck describeDsl(const Gateway& gateway) {
    WanCheck check{"dsl", false, true, "StatusDsl", 0, "there is no row"};
    if (!gateway.dslLines.empty()) {
        const DslLine& line = gateway.dslLines.front();
        check.rowId = line.id;
        check.why = "Status is " + std::to_string(line.status) +
                    (line.statusText.empty() ? "" : " (" + line.statusText + ")") +
                    (line.status == 4 ? "" : ", not 4");
    }
    return check;
}

WanCheck describeWanoe(const Gateway& gateway) {
    WanCheck check{"wanoe", false, true, dbm::nsn::tblName, 0, "there is no node of type WANoE"};
    if (const Node* node = gateway.findNodeOfType(dbm::nsn::colTypeVal::wanoe)) {
        check.rowId = node->id;
        check.why = node->interface + (node->enable == 1 ? " is enabled" : " is disabled");
    }
    return check;
}

WanCheck describeInternet(const Gateway& gateway) {
    const char* name = dbm::statusNifWLogic::colLogicNameVal::pInet;
    WanCheck check{
        "internet", false, true, dbm::statusNifWLogic::tblName, 0, std::string("there is no row ") + name};
    if (const Service* service = gateway.findService(name)) {
        check.rowId = service->id;
        check.why = std::string(name) + " on " + service->interface + ": IsUp is " +
                    std::to_string(service->isUp) + ", Addr is " +
                    (service->address.empty() ? "empty" : service->address);
    }
    return check;
}

} // namespace

WanState findWanState(const Snapshot& snapshot) {
    const Gateway gateway(snapshot);
    const SnapshotClient client(snapshot);
    const MessageCapture silence;
    const zel::pacerd::pacerdConfigHandler handler(0);

    WanCheck dsl = describeDsl(gateway);
    WanCheck wanoe = describeWanoe(gateway);
    WanCheck internet = describeInternet(gateway);
    dsl.ok = handler.isDslUp(client);
    wanoe.ok = handler.isWanoeEnabled(client);
    wanoe.looked = !dsl.ok;
    internet.ok = handler.isProviderInternetUp(client);
    internet.looked = dsl.ok || wanoe.ok;
    return {(dsl.ok || wanoe.ok) && internet.ok, {dsl, wanoe, internet}};
}

} // namespace pacerctl
