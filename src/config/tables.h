// The tables and columns of the configuration database, and the fixed values of some columns. Every name that
// the daemon reads stands here, so that a renamed column is edited in one place; docs/database.md tells what
// each one means. Only the DSL line's status is named where it is read, in confighandler.cpp.
#pragma once

namespace zel::pacerd::dbm {

// The network setup nodes: one row for each network interface of the gateway's interface tree.
namespace nsn {
extern const char tblName[];
extern const char colId[];
extern const char colEn[];
extern const char colIfName[];
extern const char colParentIf[]; // the text "root" marks the bottom of a stack
extern const char colType[];
namespace colTypeVal {
extern const char xdsl[];
extern const char mpoa[];
extern const char wanoe[];
extern const char vlan[];
} // namespace colTypeVal
} // namespace nsn

// The status of the logical interfaces, one row each.
namespace statusNifWLogic {
extern const char tblName[];
extern const char colName[];
extern const char colPhyName[]; // "off" when no Linux interface carries it
extern const char colIsup[];
extern const char colAddr[]; // "0.0.0.0" when it has none
namespace colLogicNameVal {
extern const char pInet[];
extern const char pIptv[];
extern const char pVoip[];
extern const char pTr069[];
extern const char pLan[];
extern const char pLocal[];
} // namespace colLogicNameVal
} // namespace statusNifWLogic

// The queues.
namespace qosQueue {
extern const char tblName[];
extern const char colEn[];
extern const char colName[];
extern const char colLogIf[];
extern const char colIngress[];
extern const char colEgress[];
extern const char colTrClass[];
extern const char colBuf[];
extern const char colSchedule[];
namespace colSchedVal {
extern const char sp[];
extern const char wfq[];
} // namespace colSchedVal
extern const char colWfgWeight[]; // deliberately not spelt like the column
extern const char colPreced[];
extern const char colDropAlgo[];
namespace colDropVal {
extern const char tail[];
extern const char red[];
} // namespace colDropVal
} // namespace qosQueue

// The classification rules.
namespace qosClassRule {
extern const char tblName[];
extern const char colId[];
extern const char colName[];
extern const char colEn[];
extern const char colClActionId[];
extern const char colLogClIf[];
extern const char colDstIp[];
extern const char colDstIpExcl[];
extern const char colSrcIp[];
extern const char colSrcIpExcl[];
extern const char colProto[];
extern const char colDstPort[];
extern const char colDstPortExcl[];
extern const char colSrcPort[];
extern const char colSrcPortExcl[];
extern const char colTcpAck[];
extern const char colDSCP[];
extern const char colDSCPExcl[];
} // namespace qosClassRule

// The actions that rules refer to.
namespace qosClassAction {
extern const char tblName[];
extern const char colId[];
extern const char colName[];
extern const char colDscp[];
extern const char colEthPrio[];
extern const char colTC[];
extern const char colLogicQIf[];
} // namespace qosClassAction

// The port shapers.
namespace qosShaper {
extern const char tblName[];
extern const char colEn[];
extern const char colIfName[];
extern const char colEgress[];
extern const char colIngress[];
extern const char colRate[];
} // namespace qosShaper

} // namespace zel::pacerd::dbm
