"""The picture: telephony's delay and loss, and what arrives of each service, over time."""

import os
import subprocess

from figures import percentile
from gateway import Failed
from traffic import SERVICES

BIN = 0.05  # seconds of packets behind one point of the delay curve

# From the bottom of the stack upwards, as in traffic.SERVICES: those with a promise in blue and green, the greedy in sand.
COLOURS = ["#1b4f8f", "#3f7fbf", "#7fb0dc", "#5aa898", "#e3b768", "#c98a5b"]
INK, FAINT, BAD, GOOD = "#263238", "#90a4ae", "#c62828", "#2e7d32"


def draw(show):
    """Writes demo.svg, and the data and the script it was made from."""
    begin = show.moments["begin"]
    files = {name: os.path.join(show.folder, name) for name in ("delay.dat", "arrivals.dat", "demo.gnuplot", "demo.svg")}
    largest, worst = _write_delays(files["delay.dat"], show.samples["telephony"], begin)
    _write_arrivals(files["arrivals.dat"], show.readings, begin)
    with open(files["demo.gnuplot"], "w") as script:
        script.write(_script(show, largest, worst))
    done = subprocess.run(["gnuplot", "demo.gnuplot"], cwd=show.folder, capture_output=True, text=True)
    if done.returncode != 0:
        raise Failed(f"gnuplot: {done.stderr.strip()}")


def _write_delays(file, samples, begin):
    """A line for each bin: time, least, median, largest delay (ms), lost (%). Returns the largest delay and loss of all."""
    bins = {}
    for sent, delay in samples:
        bins.setdefault(int((sent - begin) / BIN), []).append(delay)
    largest, worst = 0.0, 0.0
    with open(file, "w") as out:
        for number, found in sorted(bins.items()):
            ordered = sorted(delay * 1000 for delay in found if delay is not None)
            lost = 100 * (len(found) - len(ordered)) / len(found)
            values = (ordered[0], percentile(ordered, 50), ordered[-1]) if ordered else ("NaN",) * 3
            largest, worst = max(largest, ordered[-1] if ordered else 0.0), max(worst, lost)
            print((number + 0.5) * BIN, *values, lost, file=out)
    return largest, worst


def _write_arrivals(file, readings, begin):
    """A line for each second reading: time, then Mbit/s of the first service, the first two, and so on."""
    with open(file, "w") as out:
        for (before, old), (now, new) in zip(readings, readings[2:]):
            total, sums = 0.0, []
            for service in SERVICES:
                total += (new[service.name] - old[service.name]) * 8 / 1e6 / (now - before)
                sums.append(total)
            print((before + now) / 2 - begin, *sums, file=out)


def _script(show, largest, worst):
    at = {name: moment - show.moments["begin"] for name, moment in show.moments.items()}
    end = at["end"] - 0.3  # where the last rate is known
    # Going back on a busy machine may take a while, with a peak that would press the rest to the ground.
    usual = 1000 * (show.before.delays["telephony"].p99 or 0.0)
    ceiling = max(10.0, min(1.28 * largest, 1.7 * usual))
    shades = [(at["load"], at["up"], "#fdecea"), (at["up"], at["down"], "#e8f5e9"), (at["down"], end, "#fdecea")]
    lines = ["set terminal svg size 1080,760 dynamic rounded font 'sans-serif,13' background '#ffffff'",
             "set output 'demo.svg'",
             "set multiplot",
             f"set border 3 lc rgb '{FAINT}'", f"set tics nomirror textcolor rgb '{INK}' scale 0.5",
             f"set xrange [0:{end:.2f}]", "set lmargin at screen 0.075", "set rmargin at screen 0.855",
             "set grid ytics back lt 1 lw 0.6 lc rgb '#dde3e7'", "unset key", "set xtics 5"]
    for number, (left, right, colour) in enumerate(shades, 1):
        lines.append(f"set object {number} rectangle from {left:.3f},graph 0 to {right:.3f},graph 1 "
                     f"behind fillcolor rgb '{colour}' fillstyle solid noborder")
    for number, name in enumerate(("up", "down"), 1):
        lines.append(f"set arrow {number} from {at[name]:.3f},graph 0 to {at[name]:.3f},graph 1 nohead back "
                     f"lw 1.6 lc rgb '{INK}' dashtype 2")
    lines += _delay_panel(show, at, ceiling, largest) + _loss_panel(worst) + _arrivals_panel(show)
    return "\n".join(lines) + "\n"


def _delay_panel(show, at, ceiling, largest):
    def words(period):
        found = period.delays["telephony"]
        lost = f"{found.loss_percent:.1f} % lost" if found.lost else "none lost"
        return f"p99 {1000 * (found.p99 or 0):.1f} ms, {lost}"

    def label(number, x, y, text, colour, style=""):
        return f"set label {number} \"{text}\" at {x:.3f},graph {y} left front textcolor rgb '{colour}' {style}"

    inset = 0.25  # seconds between a line and its words
    return [
        "set label 90 \"Telephony on a full uplink, without QoS and with it\" at screen 0.02,0.965 left font ',20' "
        f"textcolor rgb '{INK}'",
        f"set label 91 \"{_subtitle(show)}\" at screen 0.02,0.927 left font ',12' textcolor rgb '#546e7a'",
        "set tmargin at screen 0.875", "set bmargin at screen 0.49", f"set yrange [0:{ceiling:.1f}]",
        "set format x ''", f"set ylabel 'one-way delay of the calls, ms' textcolor rgb '{INK}' offset 0.5",
        label(1, inset, 0.93, "quiet line", "#546e7a"),
        label(2, at["load"] + inset, 0.93, "full line, no QoS", BAD, "font ',13'"),
        label(3, at["load"] + inset, 0.86, words(show.before), BAD, "font ',12'"),
        label(4, at["up"] + inset, 0.93, "WAN up: QoS applied", GOOD, "font ',13'"),
        label(5, at["up"] + inset, 0.86, words(show.after), GOOD, "font ',12'"),
        label(6, at["down"] + inset, 0.93, "WAN down", BAD, "font ',13'"),
        *([label(7, at["down"] + inset, 0.86, f"peak {largest:.0f} ms", BAD, "font ',12'")] if largest > ceiling else []),
        "plot 'delay.dat' using 1:2:4 with filledcurves lc rgb '#9bbbe0', "
        f"'' using 1:3 with lines lw 1.6 lc rgb '{COLOURS[0]}'",
        *(f"unset label {number}" for number in (1, 2, 3, 4, 5, 6, 7, 90, 91)),
    ]


def _subtitle(show):
    return (f"One call packet every 1.6 ms. The modem lets {show.line:.0f} Mbit/s out and keeps 150 kB waiting. "
            f"Dark: median of {BIN * 1000:.0f} ms; light: least to largest.")


def _loss_panel(worst):
    top = 20 if worst <= 20 else 100
    return ["set tmargin at screen 0.46", "set bmargin at screen 0.385", f"set yrange [0:{top}]", f"set ytics {top // 2}",
            f"set ylabel 'lost, %' textcolor rgb '{INK}' offset 0.5",
            f"plot 'delay.dat' using 1:5 with impulses lw 1.6 lc rgb '{BAD}'", "set ytics autofreq"]


def _arrivals_panel(show):
    lines = ["set tmargin at screen 0.355", "set bmargin at screen 0.085", f"set yrange [0:{show.line * 1.12:.1f}]",
             "set format x '%g'", f"set xlabel 'seconds' textcolor rgb '{INK}' offset 0,0.4", "set ytics 5",
             f"set ylabel 'arriving, Mbit/s' textcolor rgb '{INK}' offset 0.5",
             f"set arrow 3 from graph 0,first {show.line} to graph 1,first {show.line} nohead front lw 1 "
             f"lc rgb '{INK}' dashtype 3",
             f"set label 1 'line {show.line:.0f}' at graph 0.01,first {show.line * 1.04:.2f} left font ',11' "
             f"textcolor rgb '{INK}'"]
    lines.append("set label 2 'with QoS:' at graph 1.01,graph 0.985 left font ',12' textcolor rgb '#546e7a'")
    places = _spread([show.after.rates[service.name] for service in SERVICES], show.line * 1.12 / 14)
    for number, (service, place) in enumerate(zip(SERVICES, places), 10):
        text = f"{service.name} {show.after.rates[service.name]:.1f}"
        lines.append(f"set label {number} '{text}' at graph 1.01,first {place:.2f} left font ',12' "
                     f"textcolor rgb '{COLOURS[number - 10]}'")
    areas = []
    for number in reversed(range(len(SERVICES))):
        lower = f"${number + 1}" if number else "0"
        areas.append(f"'arrivals.dat' using 1:({lower}):{number + 2} with filledcurves lc rgb '{COLOURS[number]}'")
    return lines + ["plot " + ", ".join(areas), "unset multiplot"]


def _spread(rates, least):
    """Heights for the names beside the stack: in the middle of each layer, but never closer than `least`."""
    places, total, lowest = [], 0.0, 0.0
    for rate in rates:
        place = max(total + rate / 2, lowest)
        places.append(place)
        lowest = place + least
        total += rate
    return places
