"""What the tests share: nets of all sizes, and the C interface by ctypes to compare with."""

from __future__ import annotations

import pathlib
import signal
from collections.abc import Iterator

import bravic
import numpy as np
import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples" / "nets"
SHARED = ROOT.parent / "shared"


@pytest.fixture
def lawn() -> bravic.Net:
    net = bravic.Net("Lawn")
    rain = net.add_node("Rain", ["yes", "no"], table=[0.2, 0.8])
    sprinkler = net.add_node("Sprinkler", ["on", "off"], table=[0.1, 0.9])
    table = [[[0.99, 0.01], [0.9, 0.1]], [[0.9, 0.1], [0.0, 1.0]]]
    net.add_node("Grass", ["wet", "dry"], parents=[rain, sprinkler], table=table)
    return net


@pytest.fixture
def clinic() -> bravic.Net:
    return bravic.read(EXAMPLES / "chest_clinic.dne")


@pytest.fixture(autouse=True)
def interruptible() -> Iterator[None]:
    """A process that was started in the background may have been told to ignore Ctrl-C."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


@pytest.fixture(autouse=True)
def quiet() -> Iterator[None]:
    """No test leaves errors behind for the next."""
    yield
    bravic.set_progress(False)
    bravic.Net("Probe").free()


def random_net(rng: np.random.Generator, count: int, max_states: int = 4) -> bravic.Net:
    net = bravic.Net("Random")
    nodes: list[bravic.Node] = []
    for i in range(count):
        chosen = rng.permutation(len(nodes))[: rng.integers(0, 4)]
        parents = [nodes[j] for j in chosen]
        states = int(rng.integers(2, max_states + 1))
        table = rng.dirichlet(np.ones(states), size=[len(p) for p in parents])
        node = net.add_node(f"N{i}", [f"s{k}" for k in range(states)], parents=parents, table=table)
        nodes.append(node)
    return net
