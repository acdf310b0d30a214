"""What the home sends, and what of it arrives."""

import csv
import json
import subprocess
import threading
import time
from dataclasses import dataclass

from gateway import PATIENCE, Failed, in_network, run

PERIOD = 0.25  # seconds between two readings of the counters


@dataclass(frozen=True)
class Service:
    name: str
    what: str
    sends: float  # Mbit/s; 0: as much as it gets
    network: str  # where it starts
    source: str  # address, or "" for any
    to: str  # network of the server
    server: str
    protocol: str
    port: int
    source_port: int = 0
    packet: int = 0  # bytes of an IP packet; 0: TCP chooses
    flows: int = 1

    def metered(self):
        """Sent by lab-meter, which knows loss and delay."""
        return self.protocol == "udp"


SERVICES = [
    Service("telephony", "ten calls from the gateway's phone ports", 1.0, "gw", "", "voip", "10.9.1.10", "udp", 16384,
            source_port=16384, packet=200),
    Service("television", "the boxes' control channel", 0.5, "lan", "192.168.1.64", "iptv", "10.8.1.10", "udp", 9000,
            packet=400),
    Service("management", "the provider reads out the gateway", 0.5, "gw", "", "wan", "10.10.1.10", "tcp", 7547),
    Service("video call", "over the internet", 2.0, "lan", "192.168.1.10", "internet", "198.51.100.10", "udp", 3478,
            packet=1200),
    Service("web", "photos to a web site", 0, "lan", "192.168.1.10", "internet", "198.51.100.10", "tcp", 443, flows=2),
    Service("backup", "the storage box's nightly copy", 0, "lan", "192.168.1.20", "internet", "198.51.100.10", "tcp",
            873, flows=8),
]

METERED = {service.name for service in SERVICES if service.metered()}


class Traffic:
    """Constant-rate services from the beginning, the greedy ones from start_load() on; all until finish(), but no longer
    than the given time."""

    def __init__(self, seconds, folder):
        self._folder = folder
        self._seconds = seconds
        self._senders = []
        self._others = []
        for service in SERVICES:
            if service.metered():
                self._start_meter(service)
            else:
                self._others.append(subprocess.Popen(
                    in_network(service.to, "iperf3", "-s", "-p", str(service.port)), stdout=subprocess.DEVNULL,
                    stderr=subprocess.DEVNULL))
        self._begin = time.monotonic()

    def start_load(self):
        remaining = self._seconds - (time.monotonic() - self._begin)
        for service in SERVICES:
            if not service.metered():
                self._start_iperf(service, remaining)

    def finish(self):
        for name, sender in self._senders:
            if sender.poll() is not None:
                raise Failed(f"the sender of {name} ended too early: {sender.communicate()[1].strip()}")
            sender.terminate()
        for name, sender in self._senders:
            output, errors = sender.communicate(timeout=PATIENCE)
            # iperf3 calls it an error to be ended.
            if sender.returncode != 0 and name in METERED:
                raise Failed(f"the sender of {name} failed: {errors.strip() or output.strip()[-300:]}")
        for server in self._others:
            server.kill()
            server.wait()

    def samples(self, service):
        """(sent, delay) of every packet, in seconds; sent since the epoch, delay None for a lost one."""
        with open(self._samples_file(service), newline="") as file:
            return [(int(row["sent_ns"]) / 1e9, int(row["delay_ns"]) / 1e9 if row["delay_ns"] else None)
                    for row in csv.DictReader(file)]

    def _samples_file(self, service):
        return f"{self._folder}/{service.name.replace(' ', '-')}.csv"

    def _start_meter(self, service):
        words = ["lab-meter", "--from", service.network, "--to", service.to, "--destination", service.server,
                 "--port", str(service.port), "--source-port", str(service.source_port),
                 "--bytes", str(service.packet), "--kbit", str(service.sends * 1000),
                 "--seconds", str(self._seconds), "--samples", self._samples_file(service)]
        if service.source:
            words += ["--source", service.source]
        self._start(service, words)

    def _start_iperf(self, service, seconds):
        # The congestion control of most homes' devices, whatever this machine's is.
        words = ["iperf3", "-c", service.server, "-p", str(service.port), "-t", f"{seconds:.0f}",
                 "-P", str(service.flows), "-C", "cubic"]
        if service.source:
            words += ["-B", service.source]
        if service.sends:
            # In small blocks: the default ones of 128 KB would each be a burst of 50 ms.
            words += ["-b", f"{service.sends}M", "-l", "1K"]
        self._start(service, in_network(service.network, *words))

    def _start(self, service, words):
        sender = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self._senders.append((service.name, sender))


class Arrivals(threading.Thread):
    """Reads, again and again, the provider's kernel counters of what has arrived from each service."""

    def __init__(self, on_reading):
        super().__init__(daemon=True)
        self._on_reading = on_reading
        self._stop_asked = threading.Event()
        self.readings = []  # (seconds since the epoch, {service: bytes of IP packets})
        self.failure = None
        run(*in_network("wan", "nft", self._rules()))

    def run(self):
        try:
            while not self._stop_asked.is_set():
                begin = time.time()
                counters = self._read()
                self.readings.append(((begin + time.time()) / 2, counters))
                self._on_reading(self)
                self._stop_asked.wait(PERIOD)
        except (Failed, OSError, ValueError) as failure:
            self.failure = failure

    def stop(self):
        self._stop_asked.set()
        self.join()
        if self.failure:
            raise self.failure

    def rates(self, begin, end):
        """Mbit/s of each service between the first reading at or after `begin` and the last at or before `end`."""
        inside = [reading for reading in self.readings if begin <= reading[0] <= end]
        if len(inside) < 2:
            return {service.name: 0.0 for service in SERVICES}
        (first, before), (last, after) = inside[0], inside[-1]
        return {name: (after[name] - before[name]) * 8 / 1e6 / (last - first) for name in after}

    @staticmethod
    def _rules():
        lines = []
        for number in range(len(SERVICES)):
            lines.append(f"counter c{number} {{ }}")
        lines.append("chain arriving { type filter hook prerouting priority raw;")
        for number, service in enumerate(SERVICES):
            lines.append(f"ip daddr {service.server} {service.protocol} dport {service.port} counter name c{number}")
        return "table inet demo {\n" + "\n".join(lines) + "\n}\n}"

    @staticmethod
    def _read():
        found = json.loads(run(*in_network("wan", "nft", "-j", "list", "counters", "table", "inet", "demo")))
        counters = [item["counter"] for item in found["nftables"] if "counter" in item]
        return {SERVICES[int(counter["name"][1:])].name: counter["bytes"] for counter in counters}
