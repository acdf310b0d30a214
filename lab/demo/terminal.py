"""How it looks at the terminal."""

import os
import sys
import threading


def _colours(wanted):
    names = {"bold": "1", "dim": "2", "green": "32", "red": "31", "plain": "0"}
    return {name: f"\033[{code}m" if wanted else "" for name, code in names.items()}


class Terminal:
    """Text with one progress line below it, which is drawn anew as time goes by. On a terminal only."""

    def __init__(self):
        self._live = sys.stdout.isatty()
        self.colour = _colours(self._live and not os.environ.get("NO_COLOR"))
        self._lock = threading.Lock()
        self._progress = ""
        sys.stdout.reconfigure(errors="replace")

    def paint(self, colour, text):
        return f"{self.colour[colour]}{text}{self.colour['plain']}" if text else ""

    def title(self, text):
        self.say("")
        self.say(self.paint("bold", text))

    def say(self, text=""):
        with self._lock:
            self._erase()
            print(text, flush=True)
            self._draw()

    def progress(self, part, text):
        """`part`: how much is done, from 0 to 1."""
        if not self._live:
            return
        width = 24
        full = round(width * min(1.0, part))
        with self._lock:
            self._erase()
            self._progress = f"  {self.paint('green', '━' * full)}{self.paint('dim', '━' * (width - full))} {text}"
            self._draw()

    def end_progress(self):
        with self._lock:
            self._erase()
            self._progress = ""

    def _erase(self):
        if self._progress:
            print("\r\033[K", end="")

    def _draw(self):
        if self._progress:
            columns = os.get_terminal_size(sys.stdout.fileno()).columns or 80  # a serial console does not know
            print(_cut(self._progress, columns - 1), end="", flush=True)


def _cut(text, columns):
    """At most so many characters, colour codes not counted."""
    shown, result, position = 0, "", 0
    while position < len(text):
        if text[position] == "\033":
            end = text.index("m", position) + 1
            result += text[position:end]
            position = end
            continue
        if shown < columns:
            result += text[position]
        shown += 1
        position += 1
    return result


def table(terminal, services, quiet, before, after):
    """The comparison, a line for each service. The periods as in figures.Period."""
    rule = terminal.paint("dim", "│")
    bold = terminal.paint
    yield (f"  {'':<11} {'':>6}  {rule} {bold('bold', 'without QoS'.center(33))} {rule} "
           f"{bold('bold', 'with QoS'.center(33))}")
    columns = f"{'Mbit/s':>6} {'loss':>7} {'median':>8}  {'p99':>8}"
    yield terminal.paint("dim", f"  {'service':<11} {'sends':>6}  │ {columns:<33} │ {columns}")
    for service in services:
        sends = f"{service.sends:.1f}" if service.sends else "max"
        cells = []
        for period in (before, after):
            cells.append(_cell(terminal, service, period, quiet))
        name = f"{service.name:<11}"
        if service.name == "telephony":
            name = terminal.paint("bold", name)
        yield f"  {name} {sends:>6}  {rule} {cells[0]} {rule} {cells[1]}"
    yield (f"  {'together':<11} {'':>6}  {rule} {before.total:6.2f} {'':26} {rule} {after.total:6.2f}")


def _cell(terminal, service, period, quiet):
    rate = f"{period.rates[service.name]:6.2f}"
    found = period.delays.get(service.name)
    if found is None:
        return f"{rate} {'–':>7} {'–':>8}  {'–':>8}"
    loss = f"{found.loss_percent:6.1f}%"
    loss = terminal.paint("red" if found.lost else "green", loss)
    usual = quiet.delays[service.name].p99 or 0.0
    return f"{rate} {loss} {_time(terminal, found.median, usual)}  {_time(terminal, found.p99, usual)}"


def _time(terminal, seconds, usual):
    if seconds is None:
        return terminal.paint("red", f"{'never':>8}")
    # Ten milliseconds more than on a quiet line is what people begin to count in a delay budget for calls.
    colour = "red" if seconds > usual + 0.010 else "green"
    return terminal.paint(colour, f"{seconds * 1000:5.1f} ms")
