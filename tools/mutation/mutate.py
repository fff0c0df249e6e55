#!/usr/bin/env python3
"""Mutation check: how many small faults planted in a source file the test suite catches.

    python3 tools/mutation/mutate.py [--build build] [--limit N] [--seed S] FILE...

Each mutant changes one place of one file: a comparison flipped (< and >=, > and <=, == and !=),
an integer constant moved by one, or a statement line dropped. The file is rebuilt in the given
build folder (configured by `bash tools/setup.sh test`), the whole suite runs, and the mutant is
killed when the build or any test fails (a test that runs past 60 s fails; the run stops at the
first failure, which is printed with the mutant). The file is put back at the end and on an
interrupt (Ctrl-C), but not when the script is killed. Mutants are listed in a fixed order and
sampled with the seed, so two runs with the same seed and limit try the same mutants. Debug lines
are never dropped, since they do not change what the code does."""
import argparse
import random
import re
import subprocess
import sys

COMPARISONS = [("<=", ">"), (">=", "<"), ("==", "!="), ("!=", "=="), ("<", ">="), (">", "<=")]
# A comparison operator standing alone: not part of <<, >>, ->, <=> or a template bracket next to
# a name (a rough test, but mutants that do not compile are counted apart).
COMPARISON = re.compile(r"(?<![<>=!\-])(<=|>=|==|!=|<|>)(?![<>=])")
CONSTANT = re.compile(r"(?<![\w.])(\d+)(?![\w.])")
STATEMENT = re.compile(r"^\s+[^/#\s].*;\s*$")


def code_part(line):
    """The line without a trailing // comment and without the contents of string and character
    literals."""
    for quote in ('"', "'"):
        literal = quote + r"(\\.|[^" + quote + r"\\])*" + quote
        line = re.sub(literal, lambda m: quote + " " * (len(m.group(0)) - 2) + quote, line)
    at = line.find("//")
    return line if at < 0 else line[:at] + " " * (len(line) - at)


def mutants(lines):
    """(line index, new line, description) for every mutant of the file, in order."""
    found = []
    in_code = False
    for i, line in enumerate(lines):
        if line.startswith("namespace") or line.startswith("{") or "(" in line:
            in_code = True
        if not in_code or line.lstrip().startswith(("#", "//")):
            continue
        code = code_part(line)
        for m in COMPARISON.finditer(code):
            op = m.group(1)
            if op in ("<", ">") and re.search(r"\w$", code[: m.start()]) and "template" in code:
                continue
            new = dict(COMPARISONS)[op]
            found.append((i, line[: m.start()] + new + line[m.end():],
                          f"{i + 1}: {op} -> {new}"))
        for m in CONSTANT.finditer(code):
            value = int(m.group(1))
            for moved in (value + 1, value - 1):
                if moved >= 0:
                    found.append((i, line[: m.start()] + str(moved) + line[m.end():],
                                  f"{i + 1}: {value} -> {moved}"))
        # Debug lines say what happens without changing it: dropping one proves nothing.
        if STATEMENT.match(code) and not code.strip().startswith(
                ("return", "case", "default", "DebugLog", "LogMessage")):
            found.append((i, "", f"{i + 1}: statement dropped"))
    return found


def run(command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode


def first_failure(build):
    """The name of the first test the last run saw fail, from ctest's own record."""
    try:
        with open(f"{build}/Testing/Temporary/LastTestsFailed.log") as log:
            return log.readline().strip().split(":", 1)[-1] or "?"
    except OSError:
        return "?"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build")
    parser.add_argument("--limit", type=int, default=0, help="mutants per file (0: all)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("files", nargs="+")
    args = parser.parse_args()
    totals = [0, 0, 0]
    for path in args.files:
        original = open(path).read()
        lines = original.split("\n")
        chosen = mutants(lines)
        if args.limit and len(chosen) > args.limit:
            chosen = sorted(random.Random(args.seed).sample(chosen, args.limit))
        killed = survived = unbuilt = 0
        try:
            for index, replacement, what in chosen:
                changed = lines[:index] + [replacement] + lines[index + 1:]
                open(path, "w").write("\n".join(changed))
                if run(["ninja", "-C", args.build]) != 0:
                    unbuilt += 1
                    continue
                suite = ["ctest", "--test-dir", args.build, "-j2", "--timeout", "60", "--stop-on-failure"]
                if run(suite) != 0:
                    killed += 1
                    print(f"  killed {path}:{what} by {first_failure(args.build)}", flush=True)
                else:
                    survived += 1
                    print(f"  survived {path}:{what}", flush=True)
        finally:
            open(path, "w").write(original)
            run(["ninja", "-C", args.build])
        print(f"{path}: {killed} killed, {survived} survived, {unbuilt} did not build", flush=True)
        totals = [totals[0] + killed, totals[1] + survived, totals[2] + unbuilt]
    tried = totals[0] + totals[1]
    rate = 100.0 * totals[0] / tried if tried else 0.0
    print(f"all: {totals[0]} of {tried} built mutants killed ({rate:.1f} %), "
          f"{totals[2]} did not build")
    return 0


if __name__ == "__main__":
    sys.exit(main())
