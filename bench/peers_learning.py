"""Times learning beside other libraries for Python: the same spreadsheets, one process, one thread each.

    peers_learning.py BUILD NET ...      (script/bench --peers sets up what it needs)

Rows are drawn from each net and written as comma-separated files, one of them with a fifth of the cells missing. Every
library reads its file itself. Three tasks: tables for the net's own links from whole rows; tables from rows with holes,
by as many iterations of EM; links by greedy search with BIC from the file alone, ours with some restarts. Printed are
the processor time, the reading included, and what the answer is worth, by one measure for all: the log likelihood of a
row under the tables (of what is there of it), and the BIC of the links.
"""

import ctypes
import itertools
import math
import os
import resource
import sys
import tempfile
import warnings

import numpy
import pandas

from peers import MEMORY, PATIENCE, Bravic, shown, timed

ROWS = 100_000  # for tables
HOLED_ROWS = 10_000  # for EM
LINK_ROWS = 10_000
MISSING = 0.2
ITERATIONS = 10
RESTARTS = 10


class LinkOptions(ctypes.Structure):
    _fields_ = [
        *((name, ctypes.c_int) for name in ("size", "score", "method", "seed", "maxparents", "numthreads")),
        *((name, ctypes.c_int) for name in ("keeplinks", "missing")),
        *((name, ctypes.c_double) for name in ("prior", "maxentries", "maxseconds")),
        *((name, ctypes.c_void_p) for name in ("target", "requiredfrom", "requiredto", "forbiddenfrom", "forbiddento")),
        ("tiers", ctypes.c_void_p),
        ("restarts", ctypes.c_int),
    ]


class LearningBravic(Bravic):
    """Also draws the rows, and judges what was learned."""

    def __init__(self, build):
        super().__init__(build)
        pointer, text, number, real = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int, ctypes.c_double
        core = ctypes.CDLL(os.path.join(build, "src/libbravic.so"))
        prototypes = {
            "FileNamed_ns": (pointer, text, pointer),
            "FreeFileSpec_ns": (None, pointer),
            "NewNodeList_bn": (pointer, number, pointer),
            "FreeNodeList_bn": (None, pointer),
            "SetNthNode_bn": (number, pointer, number, pointer),
            "NodeNamed_bn": (pointer, text, pointer),
            "GetNodeParents_bn": (pointer, pointer),
            "GetNodeStateName_bn": (text, pointer, number),
            "GenerateCases_bn": (number, pointer, ctypes.c_long, pointer, ctypes.c_long, real, number),
            "BeliefsOfCases_bn": (ctypes.c_long, pointer, pointer, ctypes.c_long, pointer, pointer, pointer, number),
            "CaseFileRevisesProbs_bn": (None, pointer, pointer, number, real),
            "LearnTablesEM_bn": (number, pointer, pointer, number, real, real, ctypes.POINTER(real)),
            "NewNetOfCases_bn": (pointer, pointer, text, pointer),
            "LearnLinks_bn": (number, pointer, pointer, ctypes.POINTER(LinkOptions), ctypes.POINTER(real)),
        }
        for name, (answer, *arguments) in prototypes.items():
            function = getattr(core, name)
            function.restype, function.argtypes = answer, arguments
            setattr(self, name, function)

    def with_file(self, path, call):
        file = self.FileNamed_ns(os.fsencode(path), self.env)
        try:
            return call(file)
        finally:
            self.FreeFileSpec_ns(file)

    def all_nodes(self):
        return self.GetNetNodes_bn(self.net)

    def draw(self, net, count, path):
        self.read(net)
        self.CompileNet_bn(self.net)
        self.SeedRandom_ns(16, self.env)
        if self.with_file(path, lambda file: self.GenerateCases_bn(self.all_nodes(), count, file, -1, 0.0, 0)) < 0:
            sys.exit("no cases of " + net)
        return pandas.read_csv(path, sep="\t", skiprows=1, dtype=str, keep_default_na=False)

    def write(self, path):
        if self.WriteNetFormat_bn(self.net, os.fsencode(path), None) < 0:
            sys.exit("Bravic doesn't write " + path)
        return path

    def tables(self, net, csv, result):
        self.read(net)
        self.with_file(csv, lambda file: self.CaseFileRevisesProbs_bn(file, self.all_nodes(), 0, 1.0))
        return lambda: self.write(result)

    def em(self, net, csv, result):
        self.read(net)
        self.CompileNet_bn(self.net)
        found = ctypes.c_double()

        def learn(file):
            return self.LearnTablesEM_bn(file, self.all_nodes(), ITERATIONS, 0.0, 1.0, ctypes.byref(found))

        if self.with_file(csv, learn) != ITERATIONS:
            sys.exit("EM failed")
        return lambda: self.write(result)

    def links(self, csv):
        if self.net:
            self.FreeNet_bn(self.net)
        self.net = self.with_file(csv, lambda file: self.NewNetOfCases_bn(file, b"Found", None))
        score = ctypes.c_double()
        options = LinkOptions(size=ctypes.sizeof(LinkOptions), restarts=RESTARTS)

        def learn(file):
            return self.LearnLinks_bn(file, self.all_nodes(), ctypes.byref(options), ctypes.byref(score))

        if self.with_file(csv, learn) < 0:
            sys.exit("no links found")
        return self.found_links

    def found_links(self):
        self.prepare()
        found = []
        for name, (node, _) in self.nodes.items():
            parents = self.GetNodeParents_bn(node)
            for i in range(self.LengthNodeList_bn(parents)):
                found.append((self.GetNodeName_bn(self.NthNode_bn(parents, i)).decode(), name))
        return found

    def likelihood(self, path, frame):
        """Of what is there of a row, on average."""
        self.read(path)
        self.CompileNet_bn(self.net)
        self.prepare()
        observed = self.NewNodeList_bn(len(frame.columns), self.env)
        states = numpy.empty(frame.shape, dtype=numpy.int32)
        for k, column in enumerate(frame.columns):
            node, count = self.nodes[column]
            self.SetNthNode_bn(observed, k, node)
            numbers = {self.GetNodeStateName_bn(node, s).decode(): s for s in range(count)}
            states[:, k] = frame[column].map(numbers).fillna(-3).to_numpy()
        targets = self.NewNodeList_bn(0, self.env)
        logs = numpy.empty(len(frame))
        impossible = self.BeliefsOfCases_bn(
            observed, states.ctypes.data, len(frame), targets, None, logs.ctypes.data, 1
        )
        self.FreeNodeList_bn(observed)
        self.FreeNodeList_bn(targets)
        return f"{logs.mean():.4f}" if impossible == 0 else f"{impossible} impossible"


class LearningPyAgrum:
    name = "pyAgrum"

    def __init__(self):
        import pyagrum

        self.gum = pyagrum
        self.gum.setNumberOfThreads(1)

    def learner(self, csv, net=None):
        learner = self.gum.BNLearner(csv, net, ["?"]) if net else self.gum.BNLearner(csv)
        learner.setNumberOfThreads(1)
        return learner

    def save(self, net, result):
        self.gum.saveBN(net, result)
        return result

    def tables(self, net, csv, result):
        net = self.gum.loadBN(net)
        learner = self.learner(csv, net)
        learner.useSmoothingPrior(1)
        found = learner.learnParameters(net.dag())
        return lambda: self.save(found, result)

    def em(self, net, csv, result):
        net = self.gum.loadBN(net)
        learner = self.learner(csv, net)
        learner.useSmoothingPrior(1)
        learner.useEM(1e-300)
        learner.EMsetMaxIter(ITERATIONS)
        learner.EMenableMaxIter()
        learner.EMsetMaxTime(PATIENCE * 1000)
        learner.EMenableMaxTime()
        found = learner.learnParameters(net.dag())
        if learner.EMnbrIterations() < ITERATIONS:
            print(f"pyAgrum has made {learner.EMnbrIterations()} iterations by then", file=sys.stderr)
        return lambda: self.save(found, result)

    def links(self, csv):
        learner = self.learner(csv)
        learner.useScoreBIC()
        learner.useGreedyHillClimbing()
        dag = learner.learnDAG()
        return lambda: [(learner.nameFromId(a), learner.nameFromId(b)) for a, b in dag.arcs()]


class LearningPgmpy:
    name = "pgmpy"

    def __init__(self):
        import logging

        import pgmpy.parameter_estimator as estimators
        from pgmpy.causal_discovery import HillClimbSearch
        from pgmpy.models import DiscreteBayesianNetwork
        from pgmpy.readwrite import BIFReader, BIFWriter

        logging.getLogger("pgmpy").setLevel(logging.ERROR)
        self.reader, self.writer, self.network = BIFReader, BIFWriter, DiscreteBayesianNetwork
        self.estimators, self.search = estimators, HillClimbSearch

    def learn(self, net, csv, result, make_estimator, **reading):
        true = self.reader(net).get_model()
        names = {name: true.get_cpds(name).state_names[name] for name in true.nodes()}
        found = self.network(true.edges())
        found.add_nodes_from(true.nodes())
        found.fit(pandas.read_csv(csv, dtype=str, keep_default_na=False, **reading), make_estimator(names))

        def save():
            self.writer(found).write_bif(result)
            return result

        return save

    def tables(self, net, csv, result):
        def estimator(names):
            return self.estimators.DiscreteBayesianEstimator(names, prior_type="dirichlet", pseudo_counts=1)

        return self.learn(net, csv, result, estimator)

    def em(self, net, csv, result):
        def estimator(names):
            return self.estimators.DiscreteEM(names, max_iter=ITERATIONS, atol=0, show_progress=False)

        return self.learn(net, csv, result, estimator, na_values=["?"])

    def links(self, csv):
        frame = pandas.read_csv(csv, dtype=str, keep_default_na=False)
        found = self.search(scoring_method="bic-d", return_type="dag", show_progress=False).fit(frame)
        return lambda: list(found.causal_graph_.edges())


def bic(frame, links):
    """Of the links, for the states that occur."""
    codes = {name: pandas.factorize(frame[name])[0].astype(numpy.int64) for name in frame.columns}
    sizes = {name: int(code.max()) + 1 for name, code in codes.items()}
    total = 0.0
    for name in frame.columns:
        row = numpy.zeros(len(frame), dtype=numpy.int64)
        parents = [a for a, b in links if b == name]
        for parent in parents:
            row = numpy.unique(row * sizes[parent] + codes[parent], return_inverse=True)[1]
        cells = numpy.unique(row * sizes[name] + codes[name], return_inverse=True)[1]
        for numbers, sign in ((numpy.bincount(cells), 1), (numpy.bincount(row), -1)):
            total += sign * float((numbers * numpy.log(numbers)).sum())
        free = (sizes[name] - 1) * math.prod(sizes[parent] for parent in parents)
        total -= free * math.log(len(frame)) / 2
    return total


def make_files(bravic, net, folder):
    """The net as BIF, and for each task a frame and its file."""
    frame = bravic.draw(net, ROWS, os.path.join(folder, "drawn.cas"))
    bif = bravic.write(os.path.join(folder, "net.bif"))
    holes = numpy.random.default_rng(16).random((HOLED_ROWS, len(frame.columns))) < MISSING
    tasks = {"tables": frame, "em": frame[:HOLED_ROWS].mask(holes, "?"), "links": frame[:LINK_ROWS]}
    files = {}
    for task, rows in tasks.items():
        files[task] = os.path.join(folder, task + ".csv")
        rows.to_csv(files[task], index=False)
    return bif, tasks, files


def worth(bravic, task, frame, answer):
    if task == "links":
        return f"{bic(frame, answer()):.1f}"
    return bravic.likelihood(answer(), frame)


def report(net, libraries, bravic):
    title = os.path.splitext(os.path.basename(net))[0]
    with tempfile.TemporaryDirectory() as folder:
        bif, frames, files = make_files(bravic, net, folder)
        for task, library in itertools.product(frames, libraries):
            result = os.path.join(folder, "result.bif")
            arguments = (files[task],) if task == "links" else (bif, files[task], result)
            value = ""
            try:
                seconds, answers = timed(lambda _: getattr(library, task)(*arguments), 1)
                cell = shown(seconds)
                if answers:
                    value = worth(bravic, task, frames[task], answers[0])
            except Exception as error:  # whatever another library has to say
                if library is bravic:
                    raise
                print(f"{library.name} fails at {title}, {task}: {error!r}"[:300], file=sys.stderr)
                seconds, cell = None, "fails"
            if library is bravic:
                ours = seconds
            elif seconds and ours:
                cell += f" ({seconds / ours:.3g} x)"
            print(f"| {title} | {task} | {library.name} | {cell} | {value} |", flush=True)


def main():
    warnings.filterwarnings("ignore")
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    build, nets = sys.argv[1], sys.argv[2:]
    bravic = LearningBravic(build)
    libraries = [bravic]
    for peer in (LearningPyAgrum, LearningPgmpy):
        try:
            libraries.append(peer())
        except ImportError as error:
            print(f"{peer.name} is not here: {error}", file=sys.stderr)
    print("| Net | Task | Library | Processor time | Worth |")
    print("| --- | --- | --- | ---: | ---: |")
    for net in nets:
        report(net, libraries, bravic)


if __name__ == "__main__":
    main()
