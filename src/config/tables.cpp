#include "config/tables.h"

namespace zel::pacerd::dbm {

namespace nsn {
const char tblName[] = "NetworkSetupNode";
const char colId[] = "Id";
const char colEn[] = "Enable";
const char colIfName[] = "InterfaceName";
const char colParentIf[] = "ParentInterface";
const char colType[] = "Type";
namespace colTypeVal {
const char xdsl[] = "XDSL";
const char mpoa[] = "MPoA";
const char wanoe[] = "WANoE";
const char vlan[] = "VLAN";
} // namespace colTypeVal
} // namespace nsn

namespace statusNifWLogic {
const char tblName[] = "StatusNetifWatchLogical";
const char colName[] = "Name";
const char colPhyName[] = "Interface";
const char colIsup[] = "IsUp";
const char colAddr[] = "Addr";
namespace colLogicNameVal {
const char pInet[] = "ProviderInternet";
const char pIptv[] = "ProviderIPTV";
const char pVoip[] = "ProviderVoIP";
const char pTr069[] = "ProviderTR069";
const char pLan[] = "LocalLAN";
const char pLocal[] = "LocalLoopback";
} // namespace colLogicNameVal
} // namespace statusNifWLogic

namespace qosQueue {
const char tblName[] = "QoSQueues";
const char colEn[] = "Enable";
const char colName[] = "Name";
const char colLogIf[] = "InterfaceName";
const char colIngress[] = "Ingress";
const char colEgress[] = "Egress";
const char colTrClass[] = "TrafficClasses";
const char colBuf[] = "BufferLen";
const char colSchedule[] = "Scheduler";
namespace colSchedVal {
const char sp[] = "SP";
const char wfq[] = "WFQ";
} // namespace colSchedVal
const char colWfgWeight[] = "WFQWeight";
const char colPreced[] = "Precedence";
const char colDropAlgo[] = "DropAlgorithm";
namespace colDropVal {
const char tail[] = "DT";
const char red[] = "RED";
} // namespace colDropVal
} // namespace qosQueue

namespace qosClassRule {
const char tblName[] = "QoSClassification";
const char colId[] = "Id";
const char colName[] = "Name";
const char colEn[] = "Enable";
const char colClActionId[] = "QoSClassificationActionId";
const char colLogClIf[] = "ClassifyInterface";
const char colDstIp[] = "DestIP";
const char colDstIpExcl[] = "DestIPExclude";
const char colSrcIp[] = "SourceIP";
const char colSrcIpExcl[] = "SourceIPExclude";
const char colProto[] = "Protocol";
const char colDstPort[] = "DestPortRange";
const char colDstPortExcl[] = "DestPortRangeExclude";
const char colSrcPort[] = "SourcePortRange";
const char colSrcPortExcl[] = "SourcePortRangeExclude";
const char colTcpAck[] = "TCPACK";
const char colDSCP[] = "DSCPMatch";
const char colDSCPExcl[] = "DSCPMatchExclude";
} // namespace qosClassRule

namespace qosClassAction {
const char tblName[] = "QoSClassificationAction";
const char colId[] = "Id";
const char colName[] = "Name";
const char colDscp[] = "DSCPMark";
const char colEthPrio[] = "EthPriorityMark";
const char colTC[] = "TrafficClass";
const char colLogicQIf[] = "QueueInterface";
} // namespace qosClassAction

namespace qosShaper {
const char tblName[] = "QoSShaper";
const char colEn[] = "Enable";
const char colIfName[] = "InterfaceName";
const char colEgress[] = "ShapeEgress";
const char colIngress[] = "ShapeIngress";
const char colRate[] = "ShapingRate";
} // namespace qosShaper

} // namespace zel::pacerd::dbm
