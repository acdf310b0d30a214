// lab-meter: loss and one-way delay of a constant-rate UDP stream between two namespaces of the lab.

#include "meter/stream.h"
#include "meter/summary.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>

namespace {

std::atomic<bool> stop = false;

extern "C" void askToStop(int /*signal*/) {
    stop = true;
}

double inMilliseconds(int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

void printSummary(std::ostream& out, const lab::StreamResult& result) {
    const lab::Summary summary = lab::summarize(result.samples);
    out << std::fixed << std::setprecision(3) << "{\"sent\": " << summary.sent
        << ", \"lost\": " << summary.lost << ", \"loss_percent\": " << summary.lossPercent()
        << ", \"duplicates\": " << result.duplicates
        << ", \"delay_ms\": {\"min\": " << inMilliseconds(summary.least)
        << ", \"p50\": " << inMilliseconds(summary.median) << ", \"p99\": " << inMilliseconds(summary.p99)
        << ", \"max\": " << inMilliseconds(summary.most) << "}, \"dscp\": {";
    const char* separator = "";
    for (const auto& [dscp, packets] : result.dscps) {
        out << separator << '"' << dscp << "\": " << packets;
        separator = ", ";
    }
    out << "}}\n";
}

void writeSamples(const std::string& file, const lab::StreamResult& result) {
    std::ofstream out(file);
    out << "sent_ns,delay_ns\n"; // a lost packet's delay is empty
    for (const lab::Sample& sample : result.samples) {
        out << sample.sent << ',';
        if (sample.delay != lab::Sample::lost) {
            out << sample.delay;
        }
        out << '\n';
    }
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

} // namespace

int main(int argc, char** argv) try {
    lab::StreamPlan plan;
    double seconds = 1;
    double kbit = 1000;
    std::string samples;
    CLI::App app(
        "Loss and one-way delay of a constant-rate UDP stream between two namespaces of the lab, as JSON.",
        "lab-meter");
    app.add_option("--from", plan.from, "Sending namespace")->required();
    app.add_option("--to", plan.to, "Receiving namespace")->required();
    app.add_option("--destination", plan.destination, "Address to send to")->required();
    app.add_option("--port", plan.destinationPort, "UDP port to send to")->required();
    app.add_option("--source", plan.source, "Address to send from");
    app.add_option("--source-port", plan.sourcePort, "UDP port to send from");
    app.add_option("--bytes", plan.packetBytes, "Size of an IP packet")->capture_default_str();
    app.add_option("--kbit", kbit, "Rate of the IP packets, kbit/s")->capture_default_str();
    app.add_option("--seconds", seconds, "How long to send")->capture_default_str();
    app.add_option("--dscp", plan.dscp, "DSCP to send with")->check(CLI::Range(0, 63));
    app.add_option("--samples", samples, "Write sending time and delay of every packet to this file, as CSV");
    CLI11_PARSE(app, argc, argv);
    plan.duration = std::chrono::duration<double>(seconds);
    plan.packetsPerSecond = kbit * 1000 / 8 / plan.packetBytes;

    // Asked to end, it reports what it has sent so far.
    plan.stop = &stop;
    std::signal(SIGTERM, askToStop);
    const lab::StreamResult result = lab::runStream(plan);
    printSummary(std::cout, result);
    if (!samples.empty()) {
        writeSamples(samples, result);
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "lab-meter: " << error.what() << '\n';
    return 1;
}
