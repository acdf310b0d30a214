#include "gateways.h"

namespace zel::pacerd::test {

namespace {

void addInterfaces(ScriptedClient& db) {
    db.add(aDslLine(4, "Showtime"));
    db.add(aNode("ptm0", "XDSL"));
    db.add(aNode("ptm0.7", "VLAN").above("ptm0"));
    db.add(aNode("ptm0.8", "VLAN").above("ptm0"));
    db.add(aNode("ppp0", "PPP").above("ptm0.7"));
    db.add(aNode("br0", "Bridge"));
    db.add(aLogicalInterface("LocalLoopback", "lo").address("127.0.0.1"));
    db.add(aLogicalInterface("LocalLAN", "br0").address("192.168.1.1"));
    db.add(aLogicalInterface("ProviderInternet", "ppp0").address("198.51.100.7"));
    db.add(aLogicalInterface("ProviderVoIP", "ppp0").address("198.51.100.7"));
    db.add(aLogicalInterface("ProviderIPTV", "ptm0.8").address("203.0.113.9"));
    db.add(aLogicalInterface("ProviderTR069", "off").isUp(0).address("0.0.0.0"));
    db.add(aShaper("ptm0").rate(50000).egress(1).ingress(1));
}

void addQueues(ScriptedClient& db) {
    db.add(aQueue().named("rest").on("ProviderInternet").serving("1").sp(8).length(200));
    db.add(aQueue().named("voip").on("ProviderVoIP").serving("5").sp(1).length(20).ingress(1));
    db.add(aQueue().named("tv").on("ProviderIPTV").serving("4").wfq(2, 30).red().length(100));
    db.add(aQueue().named("home").on("LocalLAN").serving("2").wfq(4, 10).length(100));
    db.add(aQueue().named("self").on("LocalLoopback").serving("7").sp(3).length(50));
    db.add(aQueue().named("spare").on("ProviderInternet").serving("3").sp(5).disabled());
}

void addRules(ScriptedClient& db) {
    db.add(anAction().id(1).named("toVoip").into("ProviderVoIP").trafficClass(5).dscp(46).pcp(6));
    db.add(anAction().id(2).named("toTv").into("ProviderIPTV").trafficClass(4).dscp(34).pcp(4));
    db.add(anAction().id(3).named("toHome").into("LocalLAN").trafficClass(2));
    db.add(anAction().id(4).named("toRest").into("ProviderInternet").trafficClass(1));
    db.add(aRule().named("voip-out").on("LocalLAN").action(1).toPort("5060:5061"));
    db.add(aRule().named("voip-in").on("ProviderVoIP").action(3).fromPort("5060"));
    db.add(aRule().named("ack-in").on("ProviderInternet").action(4).protocol("tcp").tcpAck(1));
    db.add(aRule().named("tv-join").on("LocalLAN").action(2).protocol("igmp"));
    db.add(aRule().named("self-dns").on("LocalLoopback").action(4).toPort("53").dscp("46"));
}

} // namespace

void addTriplePlay(ScriptedClient& db) {
    addInterfaces(db);
    addQueues(db);
    addRules(db);
}

} // namespace zel::pacerd::test
