"""Times the Python package beside other libraries for Python: what a notebook does, one process, one thread each.

    peers_python.py NET ...      (script/bench --peers sets up what it needs)

For each net, from one BIF file: reading it; all beliefs, preparation included; and all beliefs after one of ten findings
has changed. For the first net also a frame of 100,000 cases with ten columns, whose beliefs of one node are asked for,
and tables learned from a frame of 1,000,000 whole cases, whose columns are texts as a spreadsheet's are. Processor times,
medians where there are several rounds, and as ratios to ours. A library that has nothing for many cases is given them one
by one, and after PATIENCE seconds those not yet done are counted as taking as long as those before. Beliefs are compared
entry by entry; of learned tables their log likelihood of a case is. A library that disagrees is an error.

What a call of the package costs by itself is printed below: a node asked for its name, for its beliefs that are there, and
a finding taken back and entered.
"""

import os
import random
import resource
import signal
import sys
import tempfile
import time
import warnings

import bravic
import numpy

from peers import MEMORY, PATIENCE, TOLERANCE, PyAgrum, Pgmpy, give_up, largest_difference, shown, timed

FINDINGS, CHANGES = 10, 20
CASES, ROWS = 100_000, 1_000_000
JUDGED = 20_000  # rows that learned tables are judged by
WORTH_TOLERANCE = 1e-3
CALLS, BATCH = 20_000, 1000


class Package:
    name = "Bravic"

    def read(self, path):
        self.net = bravic.read(path)

    def prepare(self):
        pass

    def first(self):
        return self.answer()

    def answer(self):
        return {name: list(states.values()) for name, states in self.net.beliefs().items()}

    def enter_all(self, findings):
        self.net.enter(findings)

    def change(self, name, state):
        node = self.net[name]
        node.retract()
        node.enter(state)
        return self.net.beliefs()

    def as_numbers(self, beliefs):
        return {name: list(states.values()) for name, states in beliefs.items()}

    def infer(self, frame, target):
        found = self.net.infer(frame, [target], threads=1, log_probability=False)
        return found.to_numpy()

    def learn(self, frame, path):
        net = bravic.read(path)
        net.learn(frame)
        return lambda result: net.save(result)


class PyAgrumOfFrames(PyAgrum):
    def enter_all(self, findings):
        self.inference.setEvidence(findings)
        self.inference.makeInference()

    def change(self, name, state):
        self.inference.chgEvidence(name, state)
        self.inference.makeInference()
        return {name: self.inference.posterior(name).tolist() for name in self.names}

    def as_numbers(self, beliefs):
        return beliefs

    def infer(self, frame, target):
        inference = self.gum.LazyPropagation(self.net)
        inference.addTarget(target)

        def ask(findings):
            inference.setEvidence(findings)
            inference.makeInference()
            return inference.posterior(target).tolist()

        return one_by_one(frame, ask)

    def learn(self, frame, path):
        net = self.gum.loadBN(path)
        learner = self.gum.BNLearner(frame, net)
        learner.setNumberOfThreads(1)
        learner.useSmoothingPrior(1)
        found = learner.learnParameters(net.dag())
        return lambda result: self.gum.saveBN(found, result)


class PgmpyOfFrames(Pgmpy):
    def enter_all(self, findings):
        self.findings = dict(findings)

    def change(self, name, state):
        self.findings[name] = state
        return self.query(self.findings, self.states)

    def as_numbers(self, beliefs):
        return beliefs

    def infer(self, frame, target):
        elimination = self.elimination(self.net)

        def ask(findings):
            factor = elimination.query([target], findings, show_progress=False)
            return [factor.get_value(**{target: state}) for state in self.states[target]]

        return one_by_one(frame, ask)

    def learn(self, frame, path):
        import logging

        from pgmpy.models import DiscreteBayesianNetwork
        from pgmpy.parameter_estimator import DiscreteBayesianEstimator
        from pgmpy.readwrite import BIFWriter

        logging.getLogger("pgmpy").setLevel(logging.ERROR)
        found = DiscreteBayesianNetwork(self.net.edges())
        found.add_nodes_from(self.net.nodes())
        found.fit(frame, DiscreteBayesianEstimator(self.states, prior_type="dirichlet", pseudo_counts=1))
        return lambda result: BIFWriter(found).write_bif(result)


class Unfinished(Exception):
    """What one had of the answers when time was up."""

    def __init__(self, answers, seconds):
        super().__init__()
        self.answers, self.seconds = answers, seconds


def one_by_one(frame, ask):
    found = []
    began = time.process_time()
    try:
        for row in frame.to_dict("records"):
            found.append(ask(row))
    except TimeoutError:
        raise Unfinished(numpy.array(found), time.process_time() - began) from None
    return numpy.array(found)


def time_cases(library, frame, target):
    """Processor time, whether it is a guess from the first cases, and the beliefs."""
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(PATIENCE)
    began = time.process_time()
    try:
        answers = library.infer(frame, target)
        return time.process_time() - began, False, answers
    except Unfinished as part:
        return part.seconds * len(frame) / max(len(part.answers), 1), True, part.answers
    finally:
        signal.alarm(0)


class Table:
    """Rows of times, each with what others took beside ours; the first library is ours."""

    def __init__(self, libraries):
        self.failed = False
        print("| Net | Task | " + " | ".join(library.name for library in libraries) + " |")
        print("| --- | --- |" + " ---: |" * len(libraries), flush=True)

    def add(self, net, task, figures, offs, tolerance, guessed=()):
        cells = []
        for i, seconds in enumerate(figures):
            cell = ("about " if i in guessed else "") + shown(seconds)
            ratio = float(f"{seconds / figures[0]:.3g}") if i and seconds else 0
            cells.append(f"{cell} ({ratio:,g} x)" if ratio else cell)
            if seconds and seconds < figures[0]:
                print(f"{task}: library {i} is faster", file=sys.stderr)
        self.failed |= max(offs, default=0) > tolerance
        print(f"| {net} | {task} | {' | '.join(cells)} |", flush=True)


def draw_findings(net, count):
    """Findings that can be, and changes of them that can be, by numbers of states."""
    rows = net.sample(count + 1, seed=18, frame="rows")
    chance = random.Random(18)
    names = chance.sample(sorted(rows[0]), min(FINDINGS, len(net) // 2))
    findings = {name: net[name].state(rows[0][name]) for name in names}
    changes, current = [], dict(findings)
    while len(changes) < count:
        name = chance.choice(names)
        state = net[name].state(chance.choice(rows)[name])
        with net.given({**current, name: state}):
            possible = net.probability > 0
        if state != current[name] and possible:
            current[name] = state
            changes.append((name, state))
    return findings, changes


def compare_beliefs(table, title, path, libraries):
    drawn = bravic.read(path)
    findings, changes = draw_findings(drawn, CHANGES)
    figures, answers = {"read": [], "all beliefs": [], "one finding changed, all beliefs": []}, []
    for library in libraries:
        seconds = timed(lambda _: library.read(path), 5)[0]
        figures["read"].append(seconds)
        found = [(), ()]
        first = changed = None
        if seconds is not None:
            library.prepare()
            first, found[0] = timed(lambda _: library.first(), 1)
        if first is not None:
            library.enter_all(findings)
            changed, found[1] = timed(lambda i: library.change(*changes[i]), CHANGES)
            found[1] = [library.as_numbers(beliefs) for beliefs in found[1]]
        figures["all beliefs"].append(first)
        figures["one finding changed, all beliefs"].append(changed)
        answers.append(found)
    for i, (task, times) in enumerate(figures.items()):
        offs = [largest_difference([found[i - 1]], [answers[0][i - 1]]) for found in answers] if i else []
        table.add(title, task, times, offs, TOLERANCE)


def compare_cases(table, title, path, libraries):
    net = bravic.read(path)
    frame = net.sample(CASES, seed=19, frame="pandas").astype(str)
    names = random.Random(19).sample(list(frame.columns), FINDINGS + 1)
    asked = frame[names[1:]]
    figures, guessed, answers = [], [], []
    for i, library in enumerate(libraries):
        library.read(path)
        library.prepare()
        seconds, is_guess, found = time_cases(library, asked, names[0])
        figures.append(seconds)
        answers.append(found)
        if is_guess:
            guessed.append(i)
    offs = [float(numpy.abs(found - answers[0][: len(found)]).max(initial=0)) for found in answers]
    table.add(title, f"infer of {CASES:,} cases", figures, offs, TOLERANCE, guessed)


def compare_learning(table, title, path, libraries, folder):
    frame = bravic.read(path).sample(ROWS, seed=20, frame="pandas").astype(str)
    figures, worths = [], []
    for library in libraries:
        library.read(path)
        library.prepare()
        result = os.path.join(folder, "learned.bif")
        seconds, learned = timed(lambda _: library.learn(frame, path), 1)
        figures.append(seconds)
        if learned:
            learned[0](result)
            found = bravic.read(result).infer(frame.head(JUDGED), [])
            worths.append(float(found["logprob"].mean()))
    offs = [abs(worth - worths[0]) for worth in worths]
    table.add(title, f"learn {ROWS:,} cases", figures, offs, WORTH_TOLERANCE)


def cost_of_calls(path):
    net = bravic.read(path)
    node = net.nodes[0]
    net.beliefs()
    out = numpy.empty(len(node), numpy.float32)

    def change():
        node.retract()
        node.enter(0)

    calls = {"name": (lambda: node.name, 1), "beliefs": (lambda: node._core.beliefs(node._key, out), 1),
             "a finding": (change, 2)}
    for name, (call, count) in calls.items():
        seconds = timed(lambda _: [call() for _ in range(BATCH)], CALLS // BATCH)[0] / BATCH / count
        print(f"a call, {name}: {shown(seconds)}")


def main():
    warnings.filterwarnings("ignore")
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    libraries = [Package()]
    for peer in (PyAgrumOfFrames, PgmpyOfFrames):
        try:
            libraries.append(peer(None))
        except ImportError as error:
            print(f"{peer.name} is not here: {error}", file=sys.stderr)
    table = Table(libraries)
    with tempfile.TemporaryDirectory() as folder:
        for i, net in enumerate(sys.argv[1:]):
            title = os.path.splitext(os.path.basename(net))[0]
            path = os.path.join(folder, "net.bif")
            bravic.read(net).save(path)
            compare_beliefs(table, title, path, libraries)
            if i == 0:
                compare_cases(table, title, path, libraries)
                compare_learning(table, title, path, libraries, folder)
        cost_of_calls(path)
    if table.failed:
        sys.exit("the libraries disagree")


if __name__ == "__main__":
    main()
