// Calls of the tools that do not come to their end, and what puts right what they leave.
#pragma once

#include "gateway.h"

namespace fapi::test {

using Lines = std::vector<std::string>;

enum class Needs { nothing, vlan, red };

struct Interrupted {
    const char* name;
    Lines before;     // commands that are in place
    std::string line; // the command that is interrupted
    Lines after;      // the way back from what it does
    Needs needs = Needs::nothing;
    // A root qdisc of others, which is in place before, is gone afterwards. Only the kernel knew what it was:
    // nothing brings it back, neither the way back nor the next call, and the port has the kernel's default.
    bool replacesForeign = false;
};

// How GoogleTest shows it.
void PrintTo(const Interrupted& one, std::ostream* to);

inline constexpr const char* addQueue =
    "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1";
inline constexpr const char* addSecondQueue =
    "qcfg --queue -A q2 -i ptm0 -t egress -l 5 -m wfq --weight 4 -d tail --map 2";
inline constexpr const char* modifyQueue =
    "qcfg --queue -M q1 -i ptm0 -t egress -l 32 -m wfq --weight 2 -d tail --map 3";
inline constexpr const char* deleteQueue = "qcfg --queue -D q1 -i ptm0 -t egress";
inline constexpr const char* deleteSecondQueue = "qcfg --queue -D q2 -i ptm0 -t egress";
inline constexpr const char* addUpperQueue =
    "qcfg --queue -A q1 -i ppp0 -t egress -l 64 -m sp --priority 1 -d tail --map 1";
inline constexpr const char* deleteUpperQueue = "qcfg --queue -D q1 -i ppp0 -t egress";
inline constexpr const char* addIngressQueue =
    "qcfg --queue -A q1 -i ppp0 -t ingress -l 64 -m sp --priority 1 -d tail --map 1";
inline constexpr const char* deleteIngressQueue = "qcfg --queue -D q1 -i ppp0 -t ingress";
inline constexpr const char* addMap = "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0";
inline constexpr const char* deleteMap = "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0";
inline constexpr const char* addIngressMap = "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2";
inline constexpr const char* deleteIngressMap = "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0 -g2";
inline constexpr const char* addShaper = "qcfg --port -A s -i ptm0 -s cb --pir 50000 -t egress";
inline constexpr const char* modifyShaper = "qcfg --port -M s -i ptm0 -s cb --pir 20000 -t egress";
inline constexpr const char* deleteShaper = "qcfg --port -D s -i ptm0 -s cb --pir 50000 -t egress";
inline constexpr const char* addIngressShaper = "qcfg --port -A s -i ptm0 -s cb --pir 50000 -t ingress";
inline constexpr const char* modifyIngressShaper = "qcfg --port -M s -i ptm0 -s cb --pir 20000 -t ingress";
inline constexpr const char* deleteIngressShaper = "qcfg --port -D s -i ptm0 -s cb --pir 50000 -t ingress";
inline constexpr const char* addRule =
    "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";
inline constexpr const char* modifyRule =
    "classcfg -M r -i br0 -p tcp --dport 80 -o ptm0 -j mark --mark 2 --mark-loc 1 --priority 2";
inline constexpr const char* deleteRule = "classcfg -D r -i br0";
inline constexpr const char* addPcpRule =
    "classcfg -A v -i br0 -p udp --dport 5060 -o ptm0.7 -j vlan --pcp-outer 5 -j mark --mark 1 --mark-loc 1 "
    "--priority 1";
inline constexpr const char* modifyPcpRule =
    "classcfg -M v -i br0 -p udp --dport 5060 -o ptm0.7 -j vlan --pcp-outer 3 -j mark --mark 1 --mark-loc 1 "
    "--priority 1";
inline constexpr const char* deletePcpRule = "classcfg -D v -i br0";
inline constexpr const char* addRedQueue =
    "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d red --map 1";
inline constexpr const char* addForeignRoot =
    "tc qdisc add dev ptm0 root handle 1: tbf rate 1mbit burst 5000 limit 10000";
inline constexpr const char* deleteForeignRoot = "tc qdisc del dev ptm0 root handle 1:";
inline constexpr const char* forceShaper = "qcfg --port -A s -i ptm0 -s cb --pir 50000 -t egress --force";
inline constexpr const char* forceQueue =
    "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1 --force";

// Every operation of every tool, as the first, one of several, and the last of its port.
std::vector<Interrupted> interruptedCalls();

class InterruptedTest : public GatewayTest {
  protected:
    // Makes what the call needs; skips the test where the kernel has none of it.
    static void prepareFor(Needs needs);

    static void run(const Lines& lines);

    // As the daemon does it in its next life: it asks what exists, adds what is missing and modifies the
    // rest. What was to be deleted is there still or not any more.
    static void again(const std::string& line);

    // The same for the call and for the queues that a mapping takes along: one that was on its way is there,
    // or is not listed any more.
    static void again(const Interrupted& call);

    // Without the numbers, addresses and order that the kernel gives to what is made anew.
    static std::string dumpWithoutNumbers();

    // Where nothing is configured; an empty folder may be left.
    static void expectNothingRemembered();
};

} // namespace fapi::test
