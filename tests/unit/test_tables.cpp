#include "config/tables.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using namespace zel::pacerd;

static_assert(std::is_array_v<decltype(dbm::nsn::tblName)>);
static_assert(std::is_array_v<decltype(dbm::qosShaper::colRate)>);
TEST(Tables, NameTheNetworkSetupNodes) {
    EXPECT_STREQ(dbm::nsn::tblName, "NetworkSetupNode");
    EXPECT_STREQ(dbm::nsn::colId, "Id");
    EXPECT_STREQ(dbm::nsn::colEn, "Enable");
    EXPECT_STREQ(dbm::nsn::colIfName, "InterfaceName");
    EXPECT_STREQ(dbm::nsn::colParentIf, "ParentInterface");
    EXPECT_STREQ(dbm::nsn::colType, "Type");
    EXPECT_STREQ(dbm::nsn::colTypeVal::xdsl, "XDSL");
    EXPECT_STREQ(dbm::nsn::colTypeVal::mpoa, "MPoA");
    EXPECT_STREQ(dbm::nsn::colTypeVal::wanoe, "WANoE");
    EXPECT_STREQ(dbm::nsn::colTypeVal::vlan, "VLAN");
}

TEST(Tables, NameTheLogicalInterfaces) {
    EXPECT_STREQ(dbm::statusNifWLogic::tblName, "StatusNetifWatchLogical");
    EXPECT_STREQ(dbm::statusNifWLogic::colName, "Name");
    EXPECT_STREQ(dbm::statusNifWLogic::colPhyName, "Interface");
    EXPECT_STREQ(dbm::statusNifWLogic::colIsup, "IsUp");
    EXPECT_STREQ(dbm::statusNifWLogic::colAddr, "Addr");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pInet, "ProviderInternet");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pIptv, "ProviderIPTV");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pVoip, "ProviderVoIP");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pTr069, "ProviderTR069");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pLan, "LocalLAN");
    EXPECT_STREQ(dbm::statusNifWLogic::colLogicNameVal::pLocal, "LocalLoopback");
}

TEST(Tables, NameTheQueues) {
    EXPECT_STREQ(dbm::qosQueue::tblName, "QoSQueues");
    EXPECT_STREQ(dbm::qosQueue::colEn, "Enable");
    EXPECT_STREQ(dbm::qosQueue::colName, "Name");
    EXPECT_STREQ(dbm::qosQueue::colLogIf, "InterfaceName");
    EXPECT_STREQ(dbm::qosQueue::colIngress, "Ingress");
    EXPECT_STREQ(dbm::qosQueue::colEgress, "Egress");
    EXPECT_STREQ(dbm::qosQueue::colTrClass, "TrafficClasses");
    EXPECT_STREQ(dbm::qosQueue::colBuf, "BufferLen");
    EXPECT_STREQ(dbm::qosQueue::colSchedule, "Scheduler");
    EXPECT_STREQ(dbm::qosQueue::colSchedVal::sp, "SP");
    EXPECT_STREQ(dbm::qosQueue::colSchedVal::wfq, "WFQ");
    EXPECT_STREQ(dbm::qosQueue::colWfgWeight, "WFQWeight");
    EXPECT_STREQ(dbm::qosQueue::colPreced, "Precedence");
    EXPECT_STREQ(dbm::qosQueue::colDropAlgo, "DropAlgorithm");
    EXPECT_STREQ(dbm::qosQueue::colDropVal::tail, "DT");
    EXPECT_STREQ(dbm::qosQueue::colDropVal::red, "RED");
}

TEST(Tables, NameTheClassificationRules) {
    EXPECT_STREQ(dbm::qosClassRule::tblName, "QoSClassification");
    EXPECT_STREQ(dbm::qosClassRule::colId, "Id");
    EXPECT_STREQ(dbm::qosClassRule::colName, "Name");
    EXPECT_STREQ(dbm::qosClassRule::colEn, "Enable");
    EXPECT_STREQ(dbm::qosClassRule::colClActionId, "QoSClassificationActionId");
    EXPECT_STREQ(dbm::qosClassRule::colLogClIf, "ClassifyInterface");
    EXPECT_STREQ(dbm::qosClassRule::colDstIp, "DestIP");
    EXPECT_STREQ(dbm::qosClassRule::colDstIpExcl, "DestIPExclude");
    EXPECT_STREQ(dbm::qosClassRule::colSrcIp, "SourceIP");
    EXPECT_STREQ(dbm::qosClassRule::colSrcIpExcl, "SourceIPExclude");
    EXPECT_STREQ(dbm::qosClassRule::colProto, "Protocol");
    EXPECT_STREQ(dbm::qosClassRule::colDstPort, "DestPortRange");
    EXPECT_STREQ(dbm::qosClassRule::colDstPortExcl, "DestPortRangeExclude");
    EXPECT_STREQ(dbm::qosClassRule::colSrcPort, "SourcePortRange");
    EXPECT_STREQ(dbm::qosClassRule::colSrcPortExcl, "SourcePortRangeExclude");
    EXPECT_STREQ(dbm::qosClassRule::colTcpAck, "TCPACK");
    EXPECT_STREQ(dbm::qosClassRule::colDSCP, "DSCPMatch");
    EXPECT_STREQ(dbm::qosClassRule::colDSCPExcl, "DSCPMatchExclude");
}

TEST(Tables, NameTheClassificationActions) {
    EXPECT_STREQ(dbm::qosClassAction::tblName, "QoSClassificationAction");
    EXPECT_STREQ(dbm::qosClassAction::colId, "Id");
    EXPECT_STREQ(dbm::qosClassAction::colName, "Name");
    EXPECT_STREQ(dbm::qosClassAction::colDscp, "DSCPMark");
    EXPECT_STREQ(dbm::qosClassAction::colEthPrio, "EthPriorityMark");
    EXPECT_STREQ(dbm::qosClassAction::colTC, "TrafficClass");
    EXPECT_STREQ(dbm::qosClassAction::colLogicQIf, "QueueInterface");
}

TEST(Tables, NameTheShapers) {
    EXPECT_STREQ(dbm::qosShaper::tblName, "QoSShaper");
    EXPECT_STREQ(dbm::qosShaper::colEn, "Enable");
    EXPECT_STREQ(dbm::qosShaper::colIfName, "InterfaceName");
    EXPECT_STREQ(dbm::qosShaper::colEgress, "ShapeEgress");
    EXPECT_STREQ(dbm::qosShaper::colIngress, "ShapeIngress");
    EXPECT_STREQ(dbm::qosShaper::colRate, "ShapingRate");
}

TEST(Tables, KeepAConstantPerTableWhereNamesRecur) {
    EXPECT_NE(static_cast<const void*>(dbm::qosQueue::colEn),
              static_cast<const void*>(dbm::qosShaper::colEn));
    EXPECT_NE(static_cast<const void*>(dbm::qosQueue::colLogIf),
              static_cast<const void*>(dbm::nsn::colIfName));
}

} // namespace
