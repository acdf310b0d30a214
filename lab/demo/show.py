"""The demo, inside a run of the lab: what a person sees of the daemon's main job, with real packets.

usage: show.py FOLDER EXAMPLE SECONDS

SECONDS is the length of each of the two loaded periods. Exit status 0 only if everything was as it should be.
"""

import difflib
import json
import os
import subprocess
import sys
import time
from dataclasses import asdict

import figures
import picture
import terminal as screen
from gateway import GROUPS, PATIENCE, Failed, Gateway, kernel_state, run
from traffic import SERVICES, Arrivals, Traffic

LINE = 22_000  # kbit/s upstream; the line that the example is made for
DOWNSTREAM = 105_000
QUIET = 3.0  # seconds without load at the beginning
SETTLE = 2.0  # after each change: TCP has found its rate, buffers have emptied
CODA = 4.0  # after WAN down


class Show:
    def __init__(self, folder, example, seconds):
        self.folder = folder
        self.example = example
        self.seconds = seconds
        self.terminal = screen.Terminal()
        self.length = QUIET + 2 * (SETTLE + seconds) + SETTLE + CODA
        self.line = LINE / 1000  # Mbit/s
        self.moments = {}  # what happened when, seconds since the epoch
        self.phase = ""
        self.queues = ""

    def run(self):
        self.introduce()
        state_before = kernel_state()
        gateway = Gateway(self.example, self.folder)
        shaper = self.shaper_rate()
        state_during = self.measure(gateway)
        status = gateway.stop()
        state_after = kernel_state()
        outcome = figures.Outcome(
            line=self.line, shaper=shaper, before=self.before, after=self.after,
            applied=gateway.commands("apply success"), removed=gateway.commands("remove success"),
            errors=gateway.errors(), exit_status=status, state_changed=state_before != state_during,
            state_difference="\n".join(difflib.unified_diff(state_before.splitlines(), state_after.splitlines(),
                                                            "before", "after", lineterm="", n=0)))
        self.write_files(gateway, outcome, state_before, state_during, state_after)
        self.show_daemons_work(gateway)
        self.show_queues()
        self.show_comparison()
        return self.judge(outcome, state_before)

    def introduce(self):
        say = self.terminal.say
        self.terminal.title("A triple-play gateway on a DSL line, with real packets")
        say("  It stands in network namespaces of its own, with its own /tmp and /run: a daemon, a database and the")
        say("  network of this machine are not touched. Behind it a modem lets 22 Mbit/s out and keeps up to 150 kB")
        say("  waiting, first come, first served.")
        say()
        for service in SERVICES:
            sends = f"{service.sends:.1f} Mbit/s" if service.sends else "all it can"
            if service.flows > 1:
                sends += f", {service.flows} TCP flows"
            say(f"    {service.name:<11} {sends:<24} {self.terminal.paint('dim', service.what)}")
        for line in run("lab", "describe").splitlines():
            if "stands in" in line:
                say(self.terminal.paint("dim", "  Interfaces that this kernel lacks are played by macvlans: no VLAN tag,"
                                               " no PPP header."))
                break

    def shaper_rate(self):
        """Mbit/s upstream, as configured."""
        with open(self.example) as file:
            return json.load(file)["QoSShaper"][0]["ShapingRate"] / 1000

    def measure(self, gateway):
        """The whole time under observation. Returns the kernel's state while QoS was on."""
        self.terminal.title("Measuring")
        run("lab", "line", str(LINE), str(DOWNSTREAM))
        self.moments["begin"] = time.time()
        traffic = Traffic(self.length + 2 * PATIENCE, self.folder)
        arrivals = Arrivals(self.show_progress)
        arrivals.start()

        self.step("calls on a quiet line", QUIET)
        traffic.start_load()
        self.happened("load", "web and backup begin to fill the line; the WAN is down in the database, no QoS")
        self.step("full line without QoS", SETTLE + self.seconds)
        self.moments["up"] = time.time()
        took = gateway.bring_up()
        commands = len(gateway.commands("apply success"))
        self.happened("applied", f"WAN up: the daemon ran {commands} commands in {took * 1000:.0f} ms")
        self.step("full line with QoS", SETTLE)
        state = kernel_state()
        top = self.start_queue_view()
        self.step("full line with QoS", self.seconds)
        self.queues = top.communicate(timeout=30)[0]
        self.moments["down"] = time.time()
        took = gateway.take_down()
        self.happened("removed", f"WAN down: everything taken back in {took * 1000:.0f} ms")
        self.step("full line without QoS again", SETTLE + CODA)
        self.moments["end"] = time.time()
        arrivals.stop()
        self.terminal.progress(1.0, "waiting for the last packets")
        traffic.finish()
        self.terminal.end_progress()
        self.evaluate(traffic, arrivals)
        return state

    def start_queue_view(self):
        colour = "always" if self.terminal.colour["bold"] else "never"
        return subprocess.Popen(["ip", "netns", "exec", "gw", "pacerctl", "top", "--once", "--color", colour],
                                stdout=subprocess.PIPE, text=True)

    def step(self, phase, seconds):
        self.phase = phase
        time.sleep(seconds)

    def happened(self, name, text):
        self.moments[name] = time.time()
        since = self.moments[name] - self.moments["begin"]
        self.terminal.say(f"  {self.terminal.paint('dim', f'{since:5.1f} s')}  {text}")

    def show_progress(self, arrivals):
        now = time.time()
        rates = arrivals.rates(now - 1.1, now)
        listed = "  ".join(f"{name} {rate:.1f}" for name, rate in rates.items() if rate >= 0.05)
        self.terminal.progress((now - self.moments["begin"]) / self.length, f"{self.phase}  {listed}")

    def evaluate(self, traffic, arrivals):
        moments = self.moments
        self.readings = arrivals.readings
        self.samples = {service.name: traffic.samples(service) for service in SERVICES if service.metered()}
        self.quiet = self.period(arrivals, moments["begin"] + 0.5, moments["load"])
        self.before = self.period(arrivals, moments["load"] + SETTLE, moments["load"] + SETTLE + self.seconds)
        self.after = self.period(arrivals, moments["applied"] + SETTLE, moments["down"])

    def period(self, arrivals, begin, end):
        return figures.Period(
            begin, end, rates=arrivals.rates(begin, end),
            delays={name: figures.delays(samples, begin, end) for name, samples in self.samples.items()})

    def show_daemons_work(self, gateway):
        self.terminal.title("What the daemon found and ran when the WAN came up")
        for where, path in gateway.data_paths():
            self.terminal.say(f"    {where:<10} {path}")
        for group, beginning in GROUPS:
            commands = gateway.commands("apply success", beginning)
            self.terminal.say(f"    {len(commands):>3} {group:<15} "
                              f"{self.terminal.paint('dim', commands[0] if commands else '')}")
        self.terminal.say(f"    all of them, and what took them back: {self.folder}/commands.txt")

    def show_queues(self):
        self.terminal.title("The queues at work on the full line (pacerctl top)")
        for line in self.queues.splitlines():
            self.terminal.say("    " + line)

    def show_comparison(self):
        self.terminal.title("Upstream, on the same full line")
        for line in screen.table(self.terminal, SERVICES, self.quiet, self.before, self.after):
            self.terminal.say(line)
        quiet = self.quiet.delays["telephony"]
        self.terminal.say(self.terminal.paint(
            "dim", f"  {self.seconds:.0f} s each; Mbit/s: what arrives. Delay is one-way, to the server; telephony's on the quiet"
                   f" line: median {1000 * (quiet.median or 0):.2f} ms, p99 {1000 * (quiet.p99 or 0):.2f} ms.\n"
                   "  Services without loss and delay are TCP, which sends less instead."))

    def write_files(self, gateway, outcome, *states):
        def write(name, text):
            with open(os.path.join(self.folder, name), "w") as file:
                file.write(text)
        for name, state in zip(("before", "during", "after"), states):
            write(f"state-{name}.txt", state)
        write("state-difference.txt", outcome.state_difference)
        write("commands.txt", "# WAN up\n" + "\n".join(outcome.applied) +
              "\n\n# WAN down\n" + "\n".join(outcome.removed) + "\n")
        write("figures.json", json.dumps(
            {name: asdict(getattr(self, name)) for name in ("quiet", "before", "after")}, indent=2) + "\n")
        picture.draw(self)

    def judge(self, outcome, state):
        self.terminal.title("As it should be?")
        good = True
        for holds, what in figures.findings(outcome):
            mark = self.terminal.paint("green", "yes") if holds else self.terminal.paint("red", "NO ")
            self.terminal.say(f"    {mark}  {what}")
            good = good and holds
        load, processors = os.getloadavg()[0], os.cpu_count() or 1
        if not good and load > 3 * processors:
            self.terminal.say(f"    (This machine is busy with other things: load {load:.0f} on {processors} processors. Packets"
                              " wait for those, too.)")
        self.terminal.say()
        self.terminal.say(f"  Picture: {self.folder}/demo.svg   everything else: {self.folder}/")
        return good


def main():
    folder, example, seconds = sys.argv[1:]
    show = Show(folder, example, float(seconds))
    try:
        return 0 if show.run() else 1
    except Failed as failure:
        show.terminal.end_progress()
        print(f"demo: {failure}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        show.terminal.end_progress()
        return 130


if __name__ == "__main__":
    sys.exit(main())
