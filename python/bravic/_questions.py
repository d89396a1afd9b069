"""What a net is asked: beliefs and beyond, and decisions."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from . import _bravic
from ._errors import Error
from ._node import NATURE, Node, State

if TYPE_CHECKING:
    Nodes = Union[Iterable[Union[Node, str]], Node, str]

DECISIONS_NOT_ORDERED, POLICY_NEEDS_LINK = 2265, 2561


class Configuration(dict[str, str]):
    """A state for each node, and the probability of that together with the findings."""

    def __init__(self, states: dict[str, str], probability: float) -> None:
        super().__init__(states)
        self.probability = probability

    def __repr__(self) -> str:
        return f"Configuration({super().__repr__()}, probability={self.probability:.6g})"

    def __reduce__(self) -> tuple[Any, ...]:
        return Configuration, (dict(self), self.probability)


@dataclass(frozen=True)
class Explanation:
    """What each finding does to a belief.

    belief: in the state, given all findings; None where they contradict each other. without: node -> the belief without
    its finding. conflict: a smallest set of findings that rules the state out, or that contradict each other; None where
    the state is possible.
    """

    target: str
    state: str
    belief: float | None
    without: dict[str, float] = field(default_factory=dict)
    conflict: list[str] | None = None


@dataclass(frozen=True)
class Sensitivity:
    """How a belief depends on one entry of a table: it is (c0 x + c1) / (c2 x + c3) as the entry x varies, the row's
    others keeping their proportions."""

    node: str
    parents: dict[str, str]
    state: str
    value: float
    derivative: float
    at_0: float
    at_1: float
    coefficients: tuple[float, float, float, float]

    def belief(self, value: float) -> float:
        """The belief if the entry were that."""
        return _ratio(self.coefficients, value)


def _ratio(c: tuple[float, float, float, float], x: float) -> float:
    divisor = c[2] * x + c[3]
    return (c[0] * x + c[1]) / divisor if divisor else float("nan")


class Questions:
    """The part of a net that is asked."""

    _core: _bravic.Net

    if TYPE_CHECKING:

        def _key(self, node: Node | str) -> int: ...
        def _keys(self, nodes: Nodes) -> list[int]: ...
        def __getitem__(self, name: str) -> Node: ...

        @property
        def nodes(self) -> list[Node]: ...

    def _node(self, key: int) -> Node:
        return Node(self, key)  # type: ignore[arg-type]

    def _names(self, keys: Iterable[int]) -> list[str]:
        return [self._core.node_name(key) for key in keys]

    # ---- beliefs ----

    def compile(self) -> None:
        """Prepares the net for findings and beliefs, which otherwise happens when they are first asked for."""
        self._core.compile()

    def beliefs(self) -> dict[str, dict[str, float]]:
        """The probabilities of all nodes' states, given all findings: {node: {state: probability}}."""
        return dict(self._core.all_beliefs())

    @property
    def probability(self) -> float:
        """The probability of all findings together; 0 where they contradict each other."""
        return self._core.probability()

    @property
    def log_probability(self) -> float:
        """Its natural logarithm, however small it is."""
        return self._core.log_probability()

    def find_order(self, seconds: float = 1.0) -> None:
        """Looks for a smaller junction tree for so long, and keeps the best."""
        self._core.find_order(seconds)

    def estimate(self) -> dict[str, float]:
        """What compiling and all beliefs would take: entries of tables, bytes, seconds."""
        return dict(zip(("entries", "bytes", "seconds"), self._core.estimate()))

    @property
    def tree(self) -> str:
        """The junction tree, a line for each clique."""
        return self._core.tree_report()

    # ---- questions ----

    def mpe(self, count: int | None = None, *, nodes: Nodes | None = None) -> Any:
        """The most probable configuration of all nodes given the findings, or the ``count`` best in a list.

        With ``nodes``, the most probable joint states of these, all others summed out.

        >>> import bravic
        >>> net = bravic.Net()
        >>> coin = net.add_node("Coin", ["heads", "tails"], table=[0.75, 0.25])
        >>> net.mpe()
        Configuration({'Coin': 'heads'}, probability=0.75)
        >>> [best.probability for best in net.mpe(count=5)]
        [0.75, 0.25]
        """
        if nodes is not None:
            keys = self._keys(nodes)
            return self._configuration(keys, *self._core.best_states(keys))
        if count is not None and count < 0:
            raise Error(2640, 5, f"count is less than 0 (it is {count})")
        keys = self._core.nodes()
        states, probs = self._core.best_configs(1 if count is None else count)
        if count is None and not probs:
            raise Error(2078, 5, "the findings contradict each other")
        rows = np.reshape(states, (len(probs), len(keys)))
        best = [self._configuration(keys, row.tolist(), prob) for row, prob in zip(rows, probs)]
        return best[0] if count is None else best

    def _configuration(self, keys: list[int], states: list[int], probability: float) -> Configuration:
        nodes = [self._node(key) for key in keys]
        return Configuration({n.name: n.states[s] for n, s in zip(nodes, states) if s >= 0}, probability)

    def joint(self, nodes: Nodes) -> npt.NDArray[np.float64]:
        """The joint distribution of some nodes given the findings: an array with an axis for each."""
        keys = self._keys(nodes)
        probs = np.empty([self._core.num_states(key) for key in keys], np.float64)
        self._core.joint(keys, probs)
        return probs

    def information(self, target: Node | str, others: Nodes | None = None) -> dict[str, float]:
        """How many bits each node is expected to tell about the target, given the findings; best first."""
        key = self._key(target)
        keys = self._keys(others) if others is not None else [k for k in self._nature() if k != key]
        bits = self._core.information(key, keys)
        return dict(sorted(zip(self._names(keys), bits), key=lambda item: -item[1]))

    def _nature(self) -> list[int]:
        core = self._core
        return [key for key in core.nodes() if core.kind(key) == NATURE and core.num_states(key) > 0]

    def separated(self, some: Nodes, others: Nodes, given: Nodes = ()) -> bool:
        """Whether the links alone keep some nodes independent of others, once those given are known."""
        return self._core.separated(self._keys(some), self._keys(others), self._keys(given))

    @property
    def conflict(self) -> float:
        """How much the findings surprise together, in bits: above 0 more than one by one."""
        return self._core.conflict()

    def explain(self, target: Node | str, state: State) -> Explanation:
        """What each finding does to the belief in the target's state, or which findings rule it out."""
        key = self._key(target)
        node = self._node(key)
        number = node.state(state)
        names = node.name, node.states[number]
        conflict = self._core.conflicting(key, number)
        if self._core.probability() == 0:
            against = self._core.conflicting(key, -5) or []
            return Explanation(*names, None, {}, self._names(against))
        found = self._core.found()
        without = self._core.impacts(key, number, found)
        impacts = dict(zip(self._names(found), without))
        belief = float(node.beliefs[number])
        return Explanation(*names, belief, impacts, None if conflict is None else self._names(conflict))

    def sensitivity(
        self, target: Node | str, state: State, nodes: Nodes | None = None, top: int | None = None
    ) -> list[Sensitivity]:
        """How the belief in the target's state depends on each entry of the tables, steepest first."""
        key = self._key(target)
        number = self._node(key).state(state)
        keys = self._keys(nodes) if nodes is not None else self._nature()
        shapes = [[*self._core.parent_sizes(k), self._core.num_states(k)] for k in keys]
        sizes = [int(np.prod(shape)) for shape in shapes]
        coefficients = np.empty((sum(sizes), 4), np.float64)
        self._core.sensitivities(key, number, keys, coefficients)
        values = np.concatenate([np.ravel(self._probs(k, shape)) for k, shape in zip(keys, shapes)] or [np.empty(0)])
        c0, c1, c2, c3 = coefficients.T
        with np.errstate(divide="ignore", invalid="ignore"):
            slopes = (c0 * c3 - c1 * c2) / (c2 * values + c3) ** 2
        slopes[values < 0] = 0
        order = np.argsort(-np.abs(np.nan_to_num(slopes)), kind="stable")[:top]
        starts = np.cumsum([0, *sizes])
        return [self._sensitivity(keys, shapes, starts, int(i), values, slopes, coefficients) for i in order]

    def _probs(self, key: int, shape: list[int]) -> npt.NDArray[np.float64]:
        probs = np.empty(shape, np.float32)
        self._core.get_probs(key, probs)
        return probs.astype(np.float64)

    def _sensitivity(
        self, keys: list[int], shapes: list[list[int]], starts: Any, entry: int, values: Any, slopes: Any, all_c: Any
    ) -> Sensitivity:
        at = int(np.searchsorted(starts, entry, side="right")) - 1
        while shapes[at] and starts[at + 1] == starts[at]:
            at -= 1
        node = self._node(keys[at])
        *parents, own = np.unravel_index(entry - starts[at], shapes[at])
        given = {p.name: p.states[s] for p, s in zip(node.parents, parents) if p is not None}
        c: tuple[float, float, float, float] = tuple(map(float, all_c[entry]))  # type: ignore[assignment]
        return Sensitivity(node.name, given, node.states[own], float(values[entry]), float(slopes[entry]),
                           _ratio(c, 0), _ratio(c, 1), c)

    # ---- decisions ----

    def decide(self, method: str | None = None) -> float:
        """Finds the best decisions: every open decision gets its table. Answers the expected utility.

        method: "full", nothing is forgotten; "limited", a decision knows its parents alone; None: full where that can
        be, else limited.
        """
        if method not in (None, "full", "limited"):
            raise ValueError(f"method is neither 'full' nor 'limited' but {method!r}")
        if method == "limited":
            return self._core.solve(0)
        try:
            return self._core.solve(1)
        except Error as error:
            if method is None and error.number in (DECISIONS_NOT_ORDERED, POLICY_NEEDS_LINK):
                return self._core.solve(0)
            raise

    @property
    def expected_utility(self) -> float:
        """What the present decisions promise, given the findings; an :class:`Error` where they are not all made."""
        return self._core.expected_utility()

    def value_of_observing(self, node: Node | str, decision: Node | str) -> float:
        """By how much the expected utility rises if the node is known at that decision and later."""
        return self._core.value_of_observing(self._key(node), self._key(decision))
