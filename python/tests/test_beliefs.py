"""Findings, beliefs and questions; beliefs are the C interface's, bit for bit."""

from __future__ import annotations

import ctypes
import json
import math
import os
import pathlib
from collections.abc import Iterator

import bravic
import numpy as np
import pytest
from conftest import EXAMPLES, SHARED, random_net

LIBRARY = os.environ.get("BRAVIC_LIBRARY", "")
NETS = sorted([*EXAMPLES.glob("*.dne"), *(SHARED / "nets").glob("*.dne")])


@pytest.fixture(scope="module")
def c() -> Iterator[ctypes.CDLL]:
    if not LIBRARY or not pathlib.Path(LIBRARY).exists():
        pytest.skip("no libbravic.so to compare with (BRAVIC_LIBRARY)")
    library = ctypes.CDLL(LIBRARY)
    pointer, number, text = ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p
    for name, answer, arguments in [
        ("NewBravicEnviron_bn", pointer, []), ("InitBravic_bn", number, [pointer, text]),
        ("FileNamed_ns", pointer, [text, pointer]), ("ReadNet_bn", pointer, [pointer, number]),
        ("CompileNet_bn", None, [pointer]), ("NodeNamed_bn", pointer, [text, pointer]),
        ("GetNodeBeliefs_bn", ctypes.POINTER(ctypes.c_float), [pointer]), ("EnterFinding_bn", None, [pointer, number]),
        ("CaseLogProbability_bn", ctypes.c_double, [pointer]), ("RetractAllFindings_bn", None, [pointer]),
        ("FreeNet_bn", None, [pointer]), ("CloseBravic_bn", number, [pointer, text]),
    ]:
        function = getattr(library, name)
        function.restype, function.argtypes = answer, arguments
    library.env = library.NewBravicEnviron_bn()
    message = ctypes.create_string_buffer(256)
    assert library.InitBravic_bn(library.env, message) == 0
    yield library
    library.CloseBravic_bn(library.env, message)


def likely(net: bravic.Net, rng: np.random.Generator, count: int) -> list[tuple[int, str]]:
    """Findings that are possible together: places of nodes, and states."""
    net.retract()
    found = []
    for i in rng.permutation(len(net))[:count]:
        node = net.nodes[i]
        found.append((i, node.states[int(np.argmax(node.beliefs))]))
        node.enter(found[-1][1])
    return found


@pytest.mark.parametrize("path", NETS, ids=lambda path: path.stem)
def test_beliefs_are_those_of_the_c_interface(c: ctypes.CDLL, path: pathlib.Path) -> None:
    net = bravic.read(path)
    if any(node.kind in ("decision", "utility") for node in net):
        with pytest.raises(bravic.Error):
            net.beliefs()
        return
    theirs = c.ReadNet_bn(c.FileNamed_ns(os.fsencode(path), c.env), 0)
    c.CompileNet_bn(theirs)
    rng = np.random.default_rng(17)
    for count in (0, 1, 3):
        # The same calls in the same order: how a belief is best computed depends on what is there already.
        found = [(net.nodes[i], net.nodes[i].state(state)) for i, state in likely(net.copy(), rng, count)]
        net.retract()
        c.RetractAllFindings_bn(theirs)
        for node, state in found:
            node.enter(state)
            c.EnterFinding_bn(c.NodeNamed_bn(node.name.encode(), theirs), state)
        assert net.log_probability == c.CaseLogProbability_bn(theirs)
        for node in net:
            expected = c.GetNodeBeliefs_bn(c.NodeNamed_bn(node.name.encode(), theirs))[: len(node)]
            assert node.beliefs.tolist() == expected, (node, count)
        assert [list(b.values()) for b in net.beliefs().values()] == [n.beliefs.tolist() for n in net if len(n)]
    c.FreeNet_bn(theirs)


@pytest.mark.skipif(not (SHARED / "nets").is_dir(), reason="no shared nets")
@pytest.mark.parametrize("name", ["asia", "alarm", "hailfinder"])
def test_beliefs_are_those_expected(name: str) -> None:
    net = bravic.read(SHARED / "nets" / f"{name}.dne")
    for case in json.loads((SHARED / "nets" / "expected" / f"{name}.json").read_text())["cases"]:
        with net.given(case["findings"]):
            assert net.log_probability == pytest.approx(case["log_probability"], abs=1e-5)
            for node, expected in case["beliefs"].items():
                np.testing.assert_allclose(net[node].beliefs, expected, atol=1e-5)


def joint_of(net: bravic.Net) -> np.ndarray:
    """The joint distribution, as the product of the tables."""
    nodes = net.nodes
    joint = np.ones([len(node) for node in nodes])
    for node in nodes:
        axes = [nodes.index(member) for member in [*node.parents, node]]
        table = np.transpose(node.table.astype(float), np.argsort(axes))
        joint = joint * table.reshape([len(n) if i in axes else 1 for i, n in enumerate(nodes)])
    return joint


@pytest.mark.parametrize("seed", range(8))
def test_answers_are_those_of_the_enumerated_joint(seed: int) -> None:
    rng = np.random.default_rng(seed)
    net = random_net(rng, 6, 3)
    names = [node.name for node in net]
    joint = joint_of(net)
    weights = rng.random(len(net["N3"])) + 0.1
    net.enter(N5=1, N3=weights)
    shape = [1] * 6
    shape[names.index("N3")] = -1
    joint = joint * weights.astype(np.float32).reshape(shape)
    joint = np.take(joint, [1], names.index("N5"))
    assert net.probability == pytest.approx(joint.sum(), rel=1e-5)
    joint = joint / joint.sum()
    a, b = names.index("N0"), names.index("N1")
    others = tuple(i for i in range(6) if i not in (a, b))
    pair = joint.sum(others) if a < b else joint.sum(others).T
    np.testing.assert_allclose(net.joint(["N0", "N1"]), pair, atol=1e-6)
    np.testing.assert_allclose(net["N0"].beliefs, pair.sum(1), atol=1e-6)
    product = pair.sum(1, keepdims=True) * pair.sum(0, keepdims=True)
    assert net.information("N0", ["N1"])["N1"] == pytest.approx((pair * np.log2(pair / product)).sum(), abs=1e-6)
    best = net.mpe(count=3)
    assert len(net.mpe(count=2**31 - 1)) == np.count_nonzero(joint)
    assert [b.probability / net.probability for b in best] == pytest.approx(sorted(joint.ravel())[::-1][:3], rel=1e-5)
    explained = net.explain("N0", 0)
    assert explained.belief == pytest.approx(pair.sum(1)[0], abs=1e-6) and set(explained.without) == {"N3", "N5"}
    with net.given(N0=0):
        assert net["N0"].beliefs[0] == 1
    steepest = net.sensitivity("N0", 0)[0]
    node = net[steepest.node]
    assert steepest.belief(steepest.value) == pytest.approx(explained.belief, abs=1e-6)
    row = tuple(net[p].state(s) for p, s in steepest.parents.items())
    table = node.table
    entry = node.state(steepest.state)
    table[row] *= np.float32(0.5) / (1 - table[row][entry])
    table[row + (entry,)] = 0.5
    table[row] /= table[row].sum()
    node.table = table
    assert net["N0"].beliefs[0] == pytest.approx(steepest.belief(0.5), abs=1e-5)


def test_findings_of_all_kinds(clinic: bravic.Net) -> None:
    clinic.enter({clinic["XRay"]: "abnormal", "Smoking": 1}, Dyspnea=[0.5, 0.25])
    clinic.exclude("Bronchitis", "present")
    clinic["VisitAsia"].enter({"visit": 0.5, "no_visit": 0.5})
    findings = clinic.findings
    assert findings["XRay"] == "abnormal" and findings["Smoking"] == clinic["Smoking"].states[1]
    assert findings["Dyspnea"].tolist() == [0.5, 0.25] and findings["Bronchitis"] == "absent"
    assert findings["VisitAsia"].tolist() == [0.5, 0.5]
    assert repr(clinic) == "<Net ChestClinic: 8 nodes, 5 findings>"
    with pytest.raises(bravic.Error) as info:
        clinic.enter(XRay="normal")
    assert info.value.number in (3302, 3310, 3313, 3315, 3316)
    before = {name: str(finding) for name, finding in clinic.findings.items()}
    with clinic.given(XRay="normal", VisitAsia="visit"):
        assert clinic.findings["XRay"] == "normal" and len(clinic.findings) == 5
        clinic.retract()
    assert {name: str(finding) for name, finding in clinic.findings.items()} == before
    with pytest.raises(ZeroDivisionError), clinic.given(VisitAsia="visit"):
        1 / 0
    clinic.retract("XRay", "Smoking", "VisitAsia")
    assert list(clinic.findings) == [n.name for n in clinic if n.name in ("Dyspnea", "Bronchitis")]
    clinic.retract()
    assert not clinic.findings and clinic.probability == pytest.approx(1)


def test_contradictions_have_probability_0() -> None:
    net = bravic.Net()
    a = net.add_node("A", ["x", "y"], table=[0.5, 0.5])
    net.add_node("B", ["x", "y"], parents=[a], table=np.eye(2))
    net.enter(A="x")
    assert net.explain("B", "y").conflict == ["A"]
    net.retract()
    net.enter(B={"y": 1.0})
    net["A"].table = [1.0, 0.0]
    assert net.probability == 0 and net.log_probability == -math.inf and net.conflict == math.inf
    assert net.explain("A", "x").conflict == ["B"]
    for ask in (lambda: a.beliefs, net.beliefs, net.mpe, lambda: net.joint(["A"])):
        with pytest.raises(bravic.Error) as info:
            ask()
        assert info.value.number == 2078


def test_separation_follows_the_links(clinic: bravic.Net) -> None:
    assert clinic.separated("VisitAsia", "Smoking") and not clinic.separated("VisitAsia", "Smoking", "Dyspnea")
    assert {n.name for n in clinic["Smoking"].blanket} >= {"LungCancer", "Bronchitis"}


def test_decisions() -> None:
    net = bravic.read(EXAMPLES / "oil_wildcatter.dne")
    with pytest.raises(bravic.Error, match="relation table"):
        net.expected_utility
    best = net.decide()
    decisions = [node for node in net if node.kind == "decision"]
    assert best == pytest.approx(net.expected_utility) and all(node.function is not None for node in decisions)
    limited = net.copy()
    with limited.given({decisions[-1].name: 0}):
        assert list(limited.findings) == [decisions[-1].name] and limited.expected_utility < best
    assert limited.findings == {} and all(node.finding is None for node in limited)
    assert limited.decide("limited") <= best + 1e-6
    net.undo()
    assert all(node.function is None for node in decisions)
    assert max(net.value_of_observing("Oil", decision) for decision in decisions) > 0


def test_arrays_are_checked_before_they_are_written(clinic: bravic.Net) -> None:
    core, key = clinic._core, clinic["XRay"]._key
    for bad in (np.empty(3, np.float32), np.empty(2), np.empty(4, np.float32)[::2], [0.0, 0.0], b"xx"):
        with pytest.raises((TypeError, ValueError, BufferError)):
            core.beliefs(key, bad)
