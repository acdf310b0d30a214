#!/usr/bin/env python3
"""Breaks the daemon in one small place at a time, and sees whether the unit tests notice.

usage: mutate.py BUILD [--count N | --all] [--jobs N] [--only TEXT] [--list]

BUILD is a configured and built tree of Release type. A mutant is one change of one line of src/: an operator, a constant, a
removed statement, two arguments swapped. Only that file is compiled, with the headers precompiled and without
optimisation, put into a copy of the daemon's library, and linked with the unit tests; main.cpp, which is in no library, with
the tests of main() alone. A mutant that does not compile is no
mutant; one on which the tests fail, crash or do not end is caught; the others survive. survivors.txt names those that
nobody can catch, each with its reason. Status 1 if less than 95 % are caught, or a survivor has no reason.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
SEED = 7  # the same mutants each time
WANTED = 0.95
LIBRARY = "src/libpacerd_core.a"
PROGRAMS = ["bin/pacerd_unit_tests", "bin/pacerd_connector_tests"]
MAIN = "src/main/main.cpp"
MAIN_PROGRAM = "bin/pacerd_main_tests"
MEMORY = 2 << 30  # bytes of address space: a mutant may ask for all there is

# (kind, what, into). Each place of `what` outside of texts is one mutant.
OPERATORS = [
    ("operator", r" == ", " != "),
    ("operator", r" != ", " == "),
    ("operator", r" < ", " <= "),
    ("operator", r" > ", " >= "),
    ("operator", r" >= ", " > "),
    ("operator", r" <= ", " < "),
    ("operator", r" && ", " || "),
    ("operator", r" \|\| ", " && "),
    ("operator", r" \+ ", " - "),
    ("operator", r" - ", " + "),
    ("operator", r"(?<![\w)])!(?=[\w(])", ""),
    ("operator", r"(?<=[(;] )\+\+(?=\w)", "--"),
    ("constant", r"\btrue\b", "false"),
    ("constant", r"\bfalse\b", "true"),
]
NUMBER = re.compile(r"(?<![\w.\"'])\d+(?![\w.\"'])")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"')
STATEMENT = re.compile(r"^\s*(?:[\w:.>\[\]*-]+\(.*\)|[\w.>\[\]-]+ [|+-]?= .*|continue|break|return)\s*;$")
SWAP = re.compile(r"\(([\w.:]+(?:\(\))?), ([\w.:]+(?:\(\))?)\)")


class Mutant:
    def __init__(self, file, number, kind, before, after):
        self.file, self.number, self.kind, self.before, self.after = file, number, kind, before, after

    def key(self):
        return f"{self.file}: {self.before.strip()} => {self.after.strip() or '(removed)'}"

    def __str__(self):
        return f"{self.file}:{self.number} ({self.kind}): {self.before.strip()}\n    => {self.after.strip() or '(removed)'}"


def code_spans(line):
    """The line with texts and comments blanked out, so that positions stay."""
    blank = TEXT.sub(lambda found: '"' + "\0" * (len(found.group()) - 2) + '"', line)
    comment = blank.find("//")
    return blank if comment < 0 else blank[:comment]


def mutants_of_line(line):
    code = code_spans(line)
    for kind, what, into in OPERATORS:
        for found in re.finditer(what, code):
            yield kind, line[: found.start()] + into + line[found.end():]
    for found in NUMBER.finditer(code):
        yield "constant", line[: found.start()] + str(int(found.group()) + 1) + line[found.end():]
    for found in TEXT.finditer(line[: len(code)]):
        if len(found.group()) > 2:
            yield "constant", line[: found.start()] + '"~' + found.group()[1:] + line[found.end():]
    for found in SWAP.finditer(code):
        if found.group(1) != found.group(2):
            yield "swap", line[: found.start()] + f"({found.group(2)}, {found.group(1)})" + line[found.end():]
    if STATEMENT.match(code):
        yield "removal", ""


def all_mutants(only):
    mutants = []
    for path in sorted((ROOT / "src").rglob("*.cpp")):
        name = str(path.relative_to(ROOT))
        if only and only not in name:
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if line.lstrip().startswith(("#", "//", "namespace", "using", "template")):
                continue
            for kind, after in mutants_of_line(line):
                mutants.append(Mutant(name, number, kind, line, after))
    return mutants


def choose(mutants, count):
    """So many, the same each time, of each kind its share."""
    if count is None or count >= len(mutants):
        return mutants
    chosen = random.Random(SEED).sample(mutants, count)
    return sorted(chosen, key=lambda mutant: (mutant.file, mutant.number))


class Workshop:
    """Compiles, links and runs mutants beside a finished build."""

    def __init__(self, build, scratch):
        self.build, self.scratch = build, scratch
        commands = json.loads((build / "compile_commands.json").read_text())
        self.compile = {str(pathlib.Path(entry["file"]).relative_to(ROOT)): entry for entry in commands
                        if entry["file"].startswith(str(ROOT / "src"))
                        and (not entry["file"].endswith(MAIN) or "-Dmain=" in entry["command"])}
        self.links = {program: self.link_command(program) for program in PROGRAMS + [MAIN_PROGRAM]}
        self.header = self.precompile()
        self.patience = 30.0

    def link_command(self, program):
        lines = subprocess.run(["ninja", "-C", self.build, "-t", "commands", program], check=True, text=True,
                               capture_output=True).stdout.splitlines()
        return next(line for line in reversed(lines) if f" -o {program} " in line)

    def base_command(self, entry):
        words = shlex.split(entry["command"])
        compiler = next(i for i, word in enumerate(words) if re.search(r"(g|c|clang)\+\+(-\d+)?$", word))
        kept = [word for word in words[compiler:] if not re.match(r"-(O\d|D_FORTIFY_SOURCE=|Werror|W)", word)]
        return kept[: kept.index("-o")] + ["-O0", "-w"]

    def precompile(self):
        """The standard headers that src/ includes: they take longer than everything else."""
        names = set()
        for path in (ROOT / "src").rglob("*.[ch]*"):
            names.update(re.findall(r"^#include (<[\w.]+>)", path.read_text(), re.M))
        header = self.scratch / "standard.h"
        header.write_text("".join(f"#include {name}\n" for name in sorted(names)))
        entry = next(iter(self.compile.values()))
        subprocess.run(self.base_command(entry) + ["-x", "c++-header", str(header), "-o", f"{header}.gch"], check=True,
                       cwd=self.build)
        return header

    def run(self, mutant):
        """'stillborn', 'caught' or 'survived'."""
        place = pathlib.Path(tempfile.mkdtemp(dir=self.scratch))
        try:
            return self.run_in(place, mutant)
        finally:
            shutil.rmtree(place)

    def run_in(self, place, mutant):
        path = ROOT / mutant.file
        lines = path.read_text().splitlines(keepends=True)
        lines[mutant.number - 1] = mutant.after + "\n"
        # Beside the file of that name, so that __FILE__ and the member of the library have it.
        source = place / path.name
        source.write_text("".join(lines))
        member = place / (path.name + ".o")
        entry = self.compile[mutant.file]
        built = subprocess.run(self.base_command(entry) + ["-include", str(self.header), "-c", str(source), "-o", str(member)],
                               cwd=self.build, capture_output=True)
        if built.returncode != 0:
            return "stillborn"
        if mutant.file == MAIN:
            programs, old, new = [MAIN_PROGRAM], re.compile(r" \S*/src/main/main\.cpp\.o"), member
        else:
            programs, old, new = PROGRAMS, re.compile(" " + re.escape(LIBRARY)), place / "libpacerd_core.a"
            shutil.copy(self.build / LIBRARY, new)
            subprocess.run(["ar", "r", new, member], check=True, capture_output=True)
        for program in programs:
            mutated = place / pathlib.Path(program).name
            command, replaced = old.subn(f" {new}", self.links[program])
            assert replaced, f"{program} is not linked with what holds the mutant"
            command = command.replace(f" -o {program} ", f" -o {mutated} ")
            subprocess.run(["sh", "-c", command], check=True, cwd=self.build, capture_output=True)
            if self.fails(mutated, place):
                return "caught"
        return "survived"

    def fails(self, program, place):
        try:
            done = subprocess.run([program, "--gtest_brief=1", "--gtest_fail_fast"], cwd=place, timeout=self.patience,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY)))
            return done.returncode != 0
        except subprocess.TimeoutExpired:
            return True


def read_reasons():
    """`file: before => after` lines of survivors.txt, followed by the reason of all of them, indented."""
    reasons, keys, reason = {}, [], ""
    for line in (pathlib.Path(__file__).parent / "survivors.txt").read_text().splitlines():
        if line.startswith(" "):
            reason = (reason + " " + line.strip()).strip()
            reasons.update(dict.fromkeys(keys, reason))
        elif line and not line.startswith("#"):
            if reason:
                keys, reason = [], ""
            keys.append(line)
    return reasons


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=400)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--only", help="files whose name contains this")
    parser.add_argument("--list", action="store_true", help="print the mutants and do nothing")
    options = parser.parse_args()

    mutants = choose(all_mutants(options.only), None if options.all else options.count)
    if options.list:
        print("\n".join(map(str, mutants)))
        return 0
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="mutate-"))
    try:
        return report(mutants, Workshop(options.build.resolve(), scratch), options.jobs)
    finally:
        shutil.rmtree(scratch)


def report(mutants, workshop, jobs):
    for program in PROGRAMS + [MAIN_PROGRAM]:
        begin = time.monotonic()
        if workshop.fails(workshop.build / program, workshop.scratch):
            sys.exit(f"mutate: {program} fails without a mutant")
        workshop.patience = max(workshop.patience, 20 * (time.monotonic() - begin))
    counts = {"stillborn": 0, "caught": 0, "survived": 0}
    survivors, done, lock = [], 0, threading.Lock()

    def one(mutant):
        nonlocal done
        result = workshop.run(mutant)
        with lock:
            counts[result] += 1
            done += 1
            if result == "survived":
                survivors.append(mutant)
            if done % 50 == 0:
                print(f"{done} of {len(mutants)}: {counts}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        list(pool.map(one, mutants))

    reasons = read_reasons()
    unexplained = [mutant for mutant in survivors if not reasons.get(mutant.key())]
    for mutant in sorted(survivors, key=lambda each: (each.file, each.number)):
        print(f"survived: {mutant}\n    {reasons.get(mutant.key()) or 'NO REASON GIVEN'}")
    born = counts["caught"] + counts["survived"]
    share = counts["caught"] / born if born else 0
    print(f"{born} mutants, {counts['caught']} caught ({share:.1%}), {len(survivors)} survived, {len(unexplained)} of them "
          f"without a reason; {counts['stillborn']} more did not compile")
    return 0 if share >= WANTED and not unexplained else 1


if __name__ == "__main__":
    sys.exit(main())
