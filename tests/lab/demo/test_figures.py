"""The demo's numbers, and that its verdict really depends on each of the things it names."""

import dataclasses
import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "../../../lab/demo"))

import figures  # noqa: E402


def period(total, lost, p99):
    telephony = figures.Delays(sent=1000, lost=lost, median=p99 / 2, p99=p99)
    return figures.Period(0, 10, rates={"telephony": 1.0, "backup": total - 1.0}, delays={"telephony": telephony})


def good_outcome(**changes):
    applied = ["qcfg --queue -A ppp0_q1 -i ppp0 -t egress", "qcfg --port -M shape_wan -i ptm0 -t egress"]
    removed = ["qcfg --queue -D ppp0_q1 -i ppp0 -t egress", "qcfg --port -D shape_wan -i ptm0 -t egress"]
    outcome = figures.Outcome(line=22, shaper=20, before=period(21.5, 30, 0.054), after=period(19.7, 0, 0.0006),
                              applied=applied, removed=removed, errors=[], exit_status=0, state_changed=True,
                              state_difference="")
    return dataclasses.replace(outcome, **changes)


def failures(**changes):
    return [what for holds, what in figures.findings(good_outcome(**changes)) if not holds]


class Delays(unittest.TestCase):
    def test_percentiles_are_taken_by_rank(self):
        samples = [(1.0, delay / 1000) for delay in range(200, 0, -1)]
        found = figures.delays(samples, 0, 2)
        self.assertEqual((found.sent, found.lost, found.median, found.p99), (200, 0, 0.1, 0.198))

    def test_lost_packets_count_as_sent_and_have_no_delay(self):
        found = figures.delays([(1, 0.01), (1, None), (1, 0.03), (1, None)], 0, 2)
        self.assertEqual((found.loss_percent, found.median, found.p99), (50.0, 0.01, 0.03))

    def test_a_period_has_its_beginning_but_not_its_end(self):
        self.assertEqual(figures.delays([(1, 0.01), (2, 0.02), (3, 0.03)], 2, 3).sent, 1)

    def test_nothing_that_arrives_has_no_delay(self):
        found = figures.delays([(1, None)], 0, 2)
        self.assertEqual((found.lost, found.median, found.p99), (1, None, None))
        self.assertEqual(figures.delays([], 0, 2).loss_percent, 0.0)


class Verdict(unittest.TestCase):
    def test_a_run_in_which_all_went_well_is_good(self):
        self.assertEqual(failures(), [])

    def test_a_line_that_was_never_full_proves_nothing(self):
        self.assertEqual(len(failures(before=period(15, 30, 0.054))), 1)
        self.assertEqual(len(failures(after=period(15, 0, 0.0006))), 1)

    def test_more_than_the_shaper_lets_pass_is_not_good(self):
        self.assertEqual(failures(after=period(21.6, 0, 0.0006)), ["with QoS the shaper was: 21.6 of 20 Mbit/s"])

    def test_a_single_lost_call_packet_with_qos_is_not_good(self):
        self.assertEqual(failures(after=period(19.7, 1, 0.0006)),
                         ["with QoS no packet of a call was lost: 999 of 1000 arrived"])

    def test_qos_that_does_not_help_is_not_good(self):
        self.assertEqual(failures(after=period(19.7, 0, 0.054)),
                         ["QoS lowers the 99th percentile of telephony's delay to 1/1"])

    def test_calls_that_never_arrive_are_not_good(self):
        silence = period(19.7, 1000, 0.1)
        silence.delays["telephony"] = figures.Delays(1000, 1000, None, None)
        self.assertEqual(len(failures(after=silence)), 2)

    def test_every_applied_command_needs_its_own_removal(self):
        removed = good_outcome().removed
        self.assertEqual(failures(removed=removed[:1]),
                         ["2 commands applied, 1 taken back, not: qcfg --port -D shape_wan -i ptm0 -t egress"])
        self.assertEqual(len(failures(removed=[removed[0], removed[0]])), 1)
        self.assertEqual(len(failures(applied=[], removed=[])), 1)

    def test_anything_left_in_the_kernel_is_not_good(self):
        self.assertEqual(len(failures(state_difference="+qdisc htb")), 1)

    def test_a_state_that_never_changed_proves_nothing(self):
        self.assertEqual(len(failures(state_changed=False)), 1)

    def test_an_error_in_the_log_is_not_good(self):
        self.assertEqual(failures(errors=["error: x.cpp:1: no"]), ["the daemon logged: error: x.cpp:1: no"])

    def test_a_daemon_that_ends_badly_is_not_good(self):
        self.assertEqual(failures(exit_status=1), ["the daemon ended with status 1"])


if __name__ == "__main__":
    unittest.main()
