"""What was measured, as numbers, and whether it is what it should be."""

import math
from dataclasses import dataclass, field


@dataclass(frozen=True)
class Delays:
    """Of the packets sent in one period. Seconds; None when nothing arrived."""

    sent: int
    lost: int
    median: float | None
    p99: float | None

    @property
    def loss_percent(self):
        return 100 * self.lost / self.sent if self.sent else 0.0


def percentile(ordered, percent):
    """The smallest value that so many per cent do not exceed."""
    return ordered[max(1, math.ceil(len(ordered) * percent / 100)) - 1]


def delays(samples, begin, end):
    """`samples` as (sent, delay or None if lost); counts what was sent in [begin, end)."""
    found = [delay for sent, delay in samples if begin <= sent < end]
    ordered = sorted(delay for delay in found if delay is not None)
    if not ordered:
        return Delays(len(found), len(found), None, None)
    return Delays(len(found), len(found) - len(ordered), percentile(ordered, 50), percentile(ordered, 99))


@dataclass
class Period:
    """One stretch of time in which nothing was changed."""

    begin: float  # seconds since the epoch
    end: float
    rates: dict = field(default_factory=dict)  # Mbit/s that arrived, of each service
    delays: dict = field(default_factory=dict)  # Delays of each service whose packets are metered

    @property
    def total(self):
        return sum(self.rates.values())


@dataclass
class Outcome:
    """All that the verdict is about."""

    line: float  # Mbit/s upstream
    shaper: float
    before: Period  # loaded, without QoS
    after: Period  # loaded, with QoS
    applied: list  # commands, in the order in which they ran
    removed: list
    errors: list  # in the daemon's log
    exit_status: int
    state_changed: bool  # by the WAN coming up
    state_difference: str  # between before and after, "" if there is none


HELPS = 5.0  # the least factor by which QoS has to lower telephony's 99th percentile
FULL = 0.9  # part of its rate that a saturated line must carry, in IP packets


def undoing(command):
    """The command that takes an applied one back."""
    for flag in (" -A ", " -M "):
        if flag in command:
            return command.replace(flag, " -D ", 1)
    return command


def findings(outcome):
    """(as it should be, what) for each thing that must hold."""
    before, after = outcome.before.delays["telephony"], outcome.after.delays["telephony"]
    yield (outcome.before.total >= FULL * outcome.line,
           f"without QoS the line was full: {outcome.before.total:.1f} of {outcome.line:.0f} Mbit/s")
    yield (FULL * outcome.shaper <= outcome.after.total <= outcome.shaper,
           f"with QoS the shaper was: {outcome.after.total:.1f} of {outcome.shaper:.0f} Mbit/s")
    yield (after.sent > 0 and after.lost == 0,
           f"with QoS no packet of a call was lost: {after.sent - after.lost} of {after.sent} arrived")
    yield _delay_finding(before, after)
    missing = sorted(set(map(undoing, outcome.applied)) - set(outcome.removed))
    yield (len(outcome.applied) > 0 and not missing and len(outcome.removed) == len(outcome.applied),
           f"{len(outcome.applied)} commands applied, {len(outcome.removed)} taken back"
           + (f", not: {missing[0]}" if missing else ""))
    yield outcome.state_changed, "the WAN coming up changed the kernel's state"
    yield (not outcome.state_difference,
           "the kernel's state is again what it was before, byte for byte"
           if not outcome.state_difference else "something is left in the kernel: see state-difference.txt")
    yield (not outcome.errors,
           "no error in the daemon's log" if not outcome.errors else f"the daemon logged: {outcome.errors[0]}")
    yield outcome.exit_status == 0, f"the daemon ended with status {outcome.exit_status}"


def _delay_finding(before, after):
    if before.p99 is None or after.p99 is None:
        return False, "a period without any call packet"
    factor = before.p99 / after.p99 if after.p99 else math.inf
    return factor >= HELPS, f"QoS lowers the 99th percentile of telephony's delay to 1/{factor:.0f}"
