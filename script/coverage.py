"""Adds up what gcov says of a build folder's sources under src/ and prints it by folder; see script/coverage."""

import collections
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
AT_ONCE = 50


def reports(build):
    """What gcov says of every file of counters: one dictionary for each."""
    counters = sorted(str(path) for path in build.rglob("*.gcda"))
    for first in range(0, len(counters), AT_ONCE):
        command = ["gcov", "--json-format", "--branch-probabilities", "--stdout", *counters[first : first + AT_ONCE]]
        printed = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
        for line in printed.decode().splitlines():
            if line:
                yield json.loads(line)


def source_of(name, folder):
    """The path below the project's root, or None for what is not in src/. Compilers that are told to forget where the
    project lies (ccache tells them) name sources from its root."""
    for start in (ROOT, pathlib.Path(folder)):
        path = (start / name).resolve()
        if path.is_relative_to(ROOT / "src") and path.exists():
            return path.relative_to(ROOT)
    return None


def add_up(build):
    """By source and line: how often it was run, and of each of its branches how often it was taken. Of a line that is
    compiled several times, each copy adds to the same branches: to the two ways of a line of kernels, which gcov tells of
    all shapes at once."""
    lines = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(dict)
    for report in reports(build):
        for file in report["files"]:
            source = source_of(file["file"], report["current_working_directory"])
            if source is None:
                continue
            for line in file["lines"]:
                number = line["line_number"]
                lines[source][number] += line["count"]
                taken = [branch["count"] for branch in line["branches"] if not branch["throw"]]
                if source.suffix == ".inc" and len(taken) > 2:
                    taken = [sum(taken[0::2]), sum(taken[1::2])]
                before = branches[source].setdefault(number, taken)
                if before is not taken and len(before) == len(taken):
                    branches[source][number] = [a + b for a, b in zip(before, taken)]
                elif len(taken) > len(before):
                    branches[source][number] = taken
    return lines, branches


def share(part, whole):
    return f"{100 * part / whole:6.1f}%" if whole else "      -"


def main():
    lines, branches = add_up(ROOT / sys.argv[1])
    folders = collections.defaultdict(lambda: [0, 0, 0, 0])
    for source, counts in lines.items():
        ways = [count for line in branches[source].values() if len(line) > 1 for count in line]
        numbers = [sum(count > 0 for count in counts.values()), len(counts), sum(way > 0 for way in ways), len(ways)]
        for folder in (str(source.parent), "all"):
            folders[folder] = [a + b for a, b in zip(folders[folder], numbers)]
    print(f"{'folder':24} {'lines':>7} {'run':>7} {'branches':>9} {'taken':>7}")
    for folder in sorted(folders, key=lambda name: (name == "all", name)):
        run, num_lines, taken, num_branches = folders[folder]
        print(f"{folder:24} {num_lines:7} {share(run, num_lines)} {num_branches:9} {share(taken, num_branches)}")
    if "--list" not in sys.argv:
        return
    for source in sorted(lines):
        for number in sorted(lines[source]):
            way = branches[source][number]
            if lines[source][number] == 0:
                print(f"{source}:{number}: never run")
            elif len(way) > 1 and 0 in way:
                print(f"{source}:{number}: {way.count(0)} of {len(way)} branches never taken")


main()
