"""The gateway under show: its database, its daemon, and what the kernel says about it."""

import os
import re
import subprocess
import time

PATIENCE = 30  # seconds that any single step may take
SERVICES = [  # in the order in which they come up; the internet last, because the daemon then looks at all of them
    ("ProviderIPTV", "10.8.0.2"),
    ("ProviderVoIP", "10.9.0.2"),
    ("ProviderTR069", "10.10.0.2"),
    ("ProviderInternet", "203.0.113.2"),
]
GROUPS = [  # title, how its commands begin
    ("interface maps", "ifcfg"),
    ("queues", "qcfg --queue"),
    ("classifiers", "classcfg"),
    ("shapers", "qcfg --port"),
]


class Failed(Exception):
    """Something did not go as it should; the text is for the person at the terminal."""


def run(*words):
    """Runs a command to its end and returns what it printed."""
    done = subprocess.run(words, capture_output=True, text=True, timeout=PATIENCE)
    if done.returncode != 0:
        raise Failed(f"{' '.join(words)}: exit status {done.returncode}: {done.stderr.strip()}")
    return done.stdout


def in_network(name, *words):
    return ["ip", "netns", "exec", name, *words]


def wait_until(what, condition):
    deadline = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > deadline:
            raise Failed(f"waited {PATIENCE} s for {what}")
        time.sleep(0.005)


class Gateway:
    def __init__(self, example, folder):
        self.log_file = os.path.join(folder, "daemon.log")
        self._log = open(self.log_file, "w")
        database = "/tmp/gateway.db"
        run("cfgctl", "init", database)
        self._server = subprocess.Popen(
            ["ovsdb-server", "--remote=punix:/tmp/cfgserver.socket", "--unixctl=/tmp/server.control",
             "--log-file=/tmp/server.log", database], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until("the database server", lambda: os.path.exists("/tmp/cfgserver.socket"))
        run("cfgctl", "import", example)
        self._daemon = subprocess.Popen(in_network("gw", "pacerd_ng"), stderr=self._log)
        wait_until("the daemon's first look at the database", lambda: self.messages("WANoE is currently disabled"))

    def bring_up(self):
        """Returns how long it took from the last row's change to the daemon's last command, in seconds."""
        run("cfgctl", "set", "StatusDsl", "Id=1", "Status=4", "StatusString=Showtime")
        for service, address in SERVICES:
            begin = time.monotonic()
            self._set(service, 1, address)
        self._wait_until("the shaper, which comes last", lambda: self.commands("apply success", "qcfg --port"))
        return time.monotonic() - begin

    def take_down(self):
        """The same for the way back."""
        begin = time.monotonic()
        self._set("ProviderInternet", 0, "0.0.0.0")
        applied = len(self.commands("apply success"))
        self._wait_until(f"the removal of {applied} commands", lambda: len(self.commands("remove success")) >= applied)
        return time.monotonic() - begin

    def stop(self):
        """Returns the daemon's exit status."""
        self._daemon.terminate()
        status = self._daemon.wait(PATIENCE)
        self._server.terminate()
        self._server.wait(PATIENCE)
        return status

    def commands(self, what, beginning=""):
        """The command lines that the daemon logged as "apply success" or "remove success", in order."""
        return re.findall(rf"^\w+: [\w.]+:\d+: {what}: '({re.escape(beginning)}.*)'$", self._logged(), re.MULTILINE)

    def messages(self, text):
        return [line for line in self._logged().splitlines() if text in line]

    def errors(self):
        return [line for line in self._logged().splitlines() if line.startswith("error:")]

    def data_paths(self):
        """Where, and the interfaces from the upper one down to the port."""
        patterns = [
            ("WAN node", r"found enabled low WAN path device (.*)"),
            ("WAN stack", r"found interface stack for for this datapath: (.*)"),
            ("gateway", r"found logical interface .* for local network, phy if: (.*)"),
            ("home", r"found logical interface .* for local LAN, phy if: (.*)"),
        ]
        return [(where, found) for where, pattern in patterns for found in re.findall(pattern, self._logged())]

    def _wait_until(self, what, condition):
        """Gives up when the daemon has."""
        wait_until(what, lambda: condition() or self._daemon.poll() is not None)
        if not condition():
            errors = self.errors() or ["it logged no error"]
            raise Failed(f"the daemon ended before {what}: {errors[0]}")

    def _set(self, service, is_up, address):
        run("cfgctl", "set", "StatusNetifWatchLogical", f"Name={service}", f"IsUp={is_up}", f"Addr={address}")

    def _logged(self):
        with open(self.log_file) as log:
            return log.read()


def kernel_state():
    """Everything in the gateway's namespace that QoS could have changed, counters left out."""
    return run("lab", "state")
