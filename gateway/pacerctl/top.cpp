#include "pacerctl/top.h"

#include <algorithm>

namespace pacerctl {

namespace {

double growth(unsigned long long before, unsigned long long after, double seconds) {
    const unsigned long long grown = after >= before ? after - before : after;
    return seconds > 0 ? static_cast<double>(grown) / seconds : 0;
}

void fill(QueueRate& rate, const Counters& before, const Counters& after, double seconds) {
    constexpr double kbitPerByte = 8.0 / 1000.0;
    rate.kbitPerSecond = growth(before.bytes, after.bytes, seconds) * kbitPerByte;
    rate.packetsPerSecond = growth(before.packets, after.packets, seconds);
    rate.dropsPerSecond = growth(before.drops, after.drops, seconds);
    rate.backlogPackets = after.backlogPackets;
}

void setShare(QueueRate& rate, const Applied& applied) {
    const AppliedShaper* shaper = applied.findShaper(rate.port, rate.direction);
    if (shaper != nullptr && shaper->rate > 0) {
        rate.share = rate.kbitPerSecond / static_cast<double>(shaper->rate);
    }
}

QueueRate rateOf(const AppliedQueue& queue, const Applied& before, const Applied& after, double seconds) {
    QueueRate rate;
    rate.interface = queue.interface;
    rate.port = queue.port.empty() ? queue.interface : queue.port;
    rate.direction = queue.direction;
    rate.fapiName = queue.name;
    rate.rank = (queue.scheduler == "sp" ? "SP " : "WFQ ") + std::to_string(queue.value);
    const AppliedQueue* old = before.findQueue(queue.interface, queue.direction, queue.name);
    fill(rate, old == nullptr ? Counters() : old->counters, queue.counters, seconds);
    setShare(rate, after);
    return rate;
}

QueueRate rateOf(const AppliedRest& rest, const Applied& before, const Applied& after, double seconds) {
    QueueRate rate;
    rate.interface = rest.port;
    rate.port = rest.port;
    rate.direction = rest.direction;
    rate.rank = "-";
    const auto old = std::find_if(before.rests.begin(), before.rests.end(), [&](const AppliedRest& each) {
        return each.port == rest.port && each.direction == rest.direction;
    });
    fill(rate, old == before.rests.end() ? Counters() : old->counters, rest.counters, seconds);
    setShare(rate, after);
    return rate;
}

} // namespace

std::vector<QueueRate> ratesBetween(const Applied& before, const Applied& after, double seconds) {
    std::vector<QueueRate> rates;
    for (const AppliedQueue& queue : after.queues) {
        rates.push_back(rateOf(queue, before, after, seconds));
    }
    for (const AppliedRest& rest : after.rests) {
        rates.push_back(rateOf(rest, before, after, seconds));
    }
    std::vector<std::string> ports;
    for (const QueueRate& rate : rates) {
        if (std::find(ports.begin(), ports.end(), rate.port + rate.direction) == ports.end()) {
            ports.push_back(rate.port + rate.direction);
        }
    }
    const auto placeOf = [&](const QueueRate& rate) {
        return std::find(ports.begin(), ports.end(), rate.port + rate.direction) - ports.begin();
    };
    std::stable_sort(rates.begin(), rates.end(), [&](const QueueRate& left, const QueueRate& right) {
        return placeOf(left) < placeOf(right);
    });
    return rates;
}

} // namespace pacerctl
