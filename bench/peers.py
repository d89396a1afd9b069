"""Times Bravic beside other libraries for Python: the same net, read from one BIF file, the same findings, one process.

    peers.py BUILD NET ...      (script/bench --peers sets up what it needs)

For each net it prints what each library needs, in processor time: to read the file; for the first beliefs of all nodes,
compiling included; for all beliefs with ten findings that are new each time (fewer in small nets); and for one node's
belief with such findings. Medians, and as ratios to Bravic's. What comes out is compared entry by entry, and summed up
to a check sum that is printed; a library that disagrees is an error. Bravic is called through ctypes, so that it pays
for Python like the others; every library has one thread.
"""

import ctypes
import os
import random
import resource
import signal
import statistics
import sys
import tempfile
import time
import warnings

for threads in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[threads] = "1"

SETS = 20  # of findings
PATIENCE = 60  # seconds that one figure may take; what has no round done by then gets none
MEMORY = 6 << 30  # bytes that the process may have
TOLERANCE = 1e-4


class Bravic:
    name = "Bravic"

    def __init__(self, build):
        core = ctypes.CDLL(os.path.join(build, "src/libbravic.so"), mode=ctypes.RTLD_GLOBAL)
        formats = self.find_formats(build)
        pointer, text, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
        prototypes = {
            core: {
                "NewBravicEnviron_bn": (pointer,),
                "InitBravic_bn": (number, pointer, text),
                "FreeNet_bn": (None, pointer),
                "CompileNet_bn": (None, pointer),
                "GetNetNodes_bn": (pointer, pointer),
                "LengthNodeList_bn": (number, pointer),
                "NthNode_bn": (pointer, pointer, number),
                "GetNodeName_bn": (text, pointer),
                "GetNodeNumberStates_bn": (number, pointer),
                "GetNodeBeliefs_bn": (ctypes.POINTER(ctypes.c_float), pointer),
                "EnterFinding_bn": (None, pointer, number),
                "RetractAllFindings_bn": (None, pointer),
                "RandomCase_bn": (ctypes.c_long, pointer, number, ctypes.c_double),
                "SeedRandom_ns": (number, number, pointer),
                "GetNodeFinding_bn": (number, pointer),
            },
            formats: {
                "ReadNetFormat_bn": (pointer, text, text, pointer),
                "WriteNetFormat_bn": (number, pointer, text, text),
            },
        }
        for library, functions in prototypes.items():
            for name, (answer, *arguments) in functions.items():
                function = getattr(library, name)
                function.restype, function.argtypes = answer, arguments
                setattr(self, name, function)
        self.env = self.NewBravicEnviron_bn()
        if self.InitBravic_bn(self.env, ctypes.create_string_buffer(512)) < 0:
            sys.exit("Bravic does not start")
        self.net = None

    @staticmethod
    def find_formats(build):
        for folder, _, files in os.walk(os.path.join(build, "src")):
            if "libbravic_formats.so" in files:
                return ctypes.CDLL(os.path.join(folder, "libbravic_formats.so"))
        return sys.exit("no libbravic_formats.so in " + build)

    def read(self, path):
        if self.net:
            self.FreeNet_bn(self.net)
        self.net = self.ReadNetFormat_bn(os.fsencode(path), None, self.env)
        if not self.net:
            sys.exit("Bravic doesn't read " + path)

    def prepare(self):
        nodes = self.GetNetNodes_bn(self.net)
        self.nodes = {}
        for i in range(self.LengthNodeList_bn(nodes)):
            node = self.NthNode_bn(nodes, i)
            self.nodes[self.GetNodeName_bn(node).decode()] = (node, self.GetNodeNumberStates_bn(node))

    def beliefs(self, names):
        return {name: self.GetNodeBeliefs_bn(self.nodes[name][0])[: self.nodes[name][1]] for name in names}

    def first(self):
        self.CompileNet_bn(self.net)
        return self.beliefs(self.nodes)

    def enter(self, findings):
        self.RetractAllFindings_bn(self.net)
        for name, state in findings.items():
            self.EnterFinding_bn(self.nodes[name][0], state)

    def all_with(self, findings):
        self.enter(findings)
        return self.beliefs(self.nodes)

    def one_with(self, findings, name):
        self.enter(findings)
        return self.beliefs([name])

    def draw(self, count, size):
        """Sets of findings that can be, and each time a node that is asked for."""
        self.CompileNet_bn(self.net)
        self.SeedRandom_ns(14, self.env)
        chance = random.Random(14)
        drawn = []
        for _ in range(count):
            self.RetractAllFindings_bn(self.net)
            self.RandomCase_bn(self.GetNetNodes_bn(self.net), 0, 1000.0)
            states = {name: self.GetNodeFinding_bn(node) for name, (node, _) in self.nodes.items()}
            chosen = chance.sample(sorted(states), size + 1)
            drawn.append(({name: states[name] for name in chosen[1:]}, chosen[0]))
        self.RetractAllFindings_bn(self.net)
        return drawn


class PyAgrum:
    name = "pyAgrum"

    def __init__(self, _):
        import pyagrum

        self.gum = pyagrum
        self.gum.setNumberOfThreads(1)

    def read(self, path):
        self.net = self.gum.loadBN(path)

    def prepare(self):
        self.names = [self.net.variable(i).name() for i in self.net.nodes()]

    def first(self):
        self.inference = self.gum.LazyPropagation(self.net)
        self.inference.makeInference()
        return {name: self.inference.posterior(name).tolist() for name in self.names}

    def all_with(self, findings):
        self.inference.setEvidence(findings)
        self.inference.makeInference()
        return {name: self.inference.posterior(name).tolist() for name in self.names}

    def one_with(self, findings, name):
        inference = self.gum.LazyPropagation(self.net)
        inference.setEvidence(findings)
        inference.addTarget(name)
        inference.makeInference()
        return {name: inference.posterior(name).tolist()}


class Pgmpy:
    name = "pgmpy"

    def __init__(self, _):
        from pgmpy.inference import VariableElimination
        from pgmpy.readwrite import BIFReader

        self.reader, self.elimination = BIFReader, VariableElimination

    def read(self, path):
        self.net = self.reader(path).get_model()

    def prepare(self):
        self.states = {name: self.net.get_cpds(name).state_names[name] for name in self.net.nodes()}

    def query(self, findings, names):
        evidence = {name: self.states[name][state] for name, state in findings.items()}
        found = {}
        for name in names:
            if name in findings:
                found[name] = [float(i == findings[name]) for i in range(len(self.states[name]))]
                continue
            factor = self.elimination(self.net).query([name], evidence, show_progress=False)
            found[name] = [factor.get_value(**{name: state}) for state in self.states[name]]
        return found

    def first(self):
        return self.query({}, self.states)

    def all_with(self, findings):
        return self.query(findings, self.states)

    def one_with(self, findings, name):
        return self.query(findings, [name])


def give_up(*_):
    raise TimeoutError


def timed(call, rounds):
    """The median of the rounds' processor times, or None, and what they answered."""
    seconds, answers = [], []
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(PATIENCE)
    try:
        for i in range(rounds):
            before = time.process_time()
            answer = call(i)
            seconds.append(time.process_time() - before)
            answers.append(answer)
    except (TimeoutError, MemoryError):
        pass
    finally:
        signal.alarm(0)
    return statistics.median(seconds) if seconds else None, answers


def measure(library, path, drawn):
    reading, _ = timed(lambda _: library.read(path), 5)
    if reading is None:
        return (None,) * 4, ((), (), ())
    library.prepare()
    first, beliefs = timed(lambda _: library.first(), 1)
    new, news = timed(lambda i: library.all_with(drawn[i][0]), len(drawn))
    one, ones = timed(lambda i: library.one_with(*drawn[i]), len(drawn))
    return (reading, first, new, one), (beliefs, news, ones)


def largest_difference(found, others):
    """Over the rounds that both had the time for."""
    return max(
        (
            abs(a - b)
            for answers, their_answers in zip(found, others, strict=True)
            for answer, other in zip(answers, their_answers)
            for name, beliefs in answer.items()
            for a, b in zip(beliefs, other[name], strict=True)
        ),
        default=0.0,
    )


def check_sum(answer):
    return sum((i + 1) * p for beliefs in answer.values() for i, p in enumerate(beliefs))


def shown(seconds):
    if seconds is None:
        return "gave up"
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            break
    return f"{seconds / size:.3g} {unit}"


def main():
    warnings.filterwarnings("ignore")
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    build, nets = sys.argv[1], sys.argv[2:]
    bravic = Bravic(build)
    peers = []
    for peer in (PyAgrum, Pgmpy):
        try:
            peers.append(peer(build))
        except ImportError as error:
            print(f"{peer.name} is not here: {error}", file=sys.stderr)
    print("| Net | Library | Read | First beliefs | New findings | One question | Check sum | Off by |")
    print("| --- | --- | ---: | ---: | ---: | ---: | ---: | ---: |")
    failed = False
    for net in nets:
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "net.bif")
            bravic.read(net)
            if bravic.WriteNetFormat_bn(bravic.net, os.fsencode(path), None) < 0:
                sys.exit("Bravic doesn't write " + path)
            bravic.prepare()
            drawn = bravic.draw(SETS, min(10, len(bravic.nodes) // 2))
            ours, answers = measure(bravic, path, drawn)
            rows = [(bravic.name, ours, answers)]
            for peer in peers:
                rows.append((peer.name, *measure(peer, path, drawn)))
        for name, figures, found in rows:
            off = largest_difference(found, answers)
            failed = failed or off > TOLERANCE
            cells = [
                shown(figure) if name == bravic.name or not figure else f"{shown(figure)} ({figure / our:.3g} x)"
                for figure, our in zip(figures, ours)
            ]
            title = os.path.splitext(os.path.basename(net))[0]
            total = f"{check_sum(found[0][0]):.4f}" if found[0] else "none"
            print(f"| {title} | {name} | {' | '.join(cells)} | {total} | {off:.0e} |", flush=True)
    if failed:
        sys.exit("the libraries disagree")


if __name__ == "__main__":
    main()
