"""Learning tables from tables of cases, by counts that add up, or by expectation and maximization."""

from __future__ import annotations

import os
from collections.abc import Iterable
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from . import _bravic
from ._errors import Error
from ._frames import States, columns_of, matrix
from ._node import NATURE, Node

if TYPE_CHECKING:
    from ._net import Net

    Nodes = Union[Iterable[Union[Node, str]], Node, str]

Doubles = npt.NDArray[np.float64]


class CaseTable:
    """A table of cases as numbers of states, of the columns that are nodes of the net."""

    def __init__(self, net: Any, data: Any, weights: Any = None) -> None:
        columns, self.rows = columns_of(data)
        if isinstance(weights, str):
            weights = columns.pop(weights)
        nodes: dict[str, Node] = net._columns(columns)
        if not nodes and columns:
            raise Error(2471, 5, f"no column is a node of net {net.name!r}")
        self.keys = [node._key for node in nodes.values()]
        self.states: States = matrix(data, nodes, self.rows, columns)
        self.weights: Doubles | None = None if weights is None else np.array(weights, np.float64, copy=True)
        if self.weights is not None and self.weights.shape != (self.rows,):
            raise ValueError(f"{self.weights.shape} weights for {self.rows} cases")

    @property
    def arguments(self) -> tuple[list[int], States, Doubles | None, int]:
        return self.keys, self.states, self.weights, self.rows


class Counts:
    """What cases say about tables, apart from the tables: counts of parts of a data set add up to those of the whole, so
    that parts can be counted in different processes.

    >>> import bravic
    >>> net = bravic.Net()
    >>> coin = net.add_node("Coin", ["heads", "tails"], table=[0.5, 0.5])
    >>> first, second = net.counts(), net.counts()
    >>> first.add({"Coin": ["heads", "tails", "heads"]})
    >>> second.add({"Coin": ["heads", None]})
    >>> first += second
    >>> first.values
    array([3., 1.])
    >>> first.learn(prior=0)
    >>> coin.beliefs
    array([0.75, 0.25], dtype=float32)
    """

    def __init__(self, net: Net, nodes: Nodes | None = None) -> None:
        self._net = net
        self._keys = _learned(net, nodes)
        self._core = _bravic.Counts(net._core, self._keys)

    def add(self, data: Any, weights: Any = None) -> None:
        """Counts the cases: each in the tables of those nodes that it knows together with all their parents.

        weights: how often each case occurred: numbers, or the name of a column.
        """
        self._core.count(*CaseTable(self._net, data, weights).arguments)

    def expect(self, data: Any, weights: Any = None, *, threads: int = 0) -> float:
        """Counts cases with missing cells, spread by what the net believes of them now (the E-step of EM); answers their
        log likelihood. Impossible cases add nothing."""
        return self._core.expect(*CaseTable(self._net, data, weights).arguments, threads)[0]

    def __iadd__(self, more: Counts) -> Counts:
        self._core.add(more._core)
        return self

    def __len__(self) -> int:
        return self._core.size()

    def __bool__(self) -> bool:
        return True

    @property
    def values(self) -> Doubles:
        """All counts: node after node, rows as in tables. A copy; setting it puts counts of another process in place."""
        values = np.empty(len(self), np.float64)
        self._core.get(values)
        return values

    @values.setter
    def values(self, values: npt.ArrayLike) -> None:
        self._core.set(np.ascontiguousarray(values, np.float64))

    def learn(self, prior: float = 1.0) -> None:
        """Sets the tables and experience of the nodes by the counts: one change for undo. prior: so many cases for each
        row, spread evenly; rows without counts stay as they were at 0."""
        self._core.learn(prior)

    def __repr__(self) -> str:
        return f"<Counts of {len(self._keys)} nodes of net {self._net.name}: {self.values.sum():g}>"


def _learned(net: Any, nodes: Nodes | None) -> list[int]:
    """The nodes given, else all that have tables of probabilities."""
    if nodes is not None:
        return list(net._keys(nodes))
    core = net._core
    return [k for k in core.nodes() if core.kind(k) == NATURE and core.num_states(k) > 0]


class Learning:
    """The part of a net that learns."""

    _core: _bravic.Net

    def learn(
        self, data: Any, method: str = "counts", *, nodes: Nodes | None = None, prior: float = 1.0, weights: Any = None,
        iterations: int = 100, tolerance: float = 1e-6,
    ) -> float | None:
        """Learns tables from cases, in place of those there are: one change for undo.

        data: as for :meth:`Net.infer`. method: "counts", each case counts where a node and all its parents are known; "em",
        missing cells and hidden nodes are spread by what the net believes, again and again until the log likelihood
        changes by no more than the share ``tolerance`` (0: exactly ``iterations`` times), beginning from the present
        tables; answers the log likelihood. prior: so many cases for each row, spread evenly. weights: how often each case
        occurred: numbers, or the name of a column.

        >>> import bravic
        >>> net = bravic.Net()
        >>> coin = net.add_node("Coin", ["heads", "tails"])
        >>> net.learn({"Coin": ["heads", "heads", "tails"]})
        >>> coin.table
        array([0.625, 0.375], dtype=float32)
        """
        if method not in ("counts", "em"):
            raise ValueError(f"method is neither 'counts' nor 'em' but {method!r}")
        if method == "counts":
            counts = Counts(self, nodes)  # type: ignore[arg-type]
            counts.add(data, weights)
            counts.learn(prior)
            return None
        table = CaseTable(self, data, weights)
        return self._core.learn_em(*table.arguments, _learned(self, nodes), iterations, tolerance, prior)[1]

    def counts(self, nodes: Nodes | None = None) -> Counts:
        """Counts of 0, of these nodes or all that have tables of probabilities."""
        return Counts(self, nodes)  # type: ignore[arg-type]

    def score(self, data: Any, score: str = "bic", *, prior: float = 1.0, weights: Any = None,
              nodes: Nodes | None = None) -> float:
        """How well the links explain the cases: "bic", "bdeu" (prior: its equivalent sample size) or "loglik", in natural
        logarithms; higher is better."""
        from ._structure import SCORES, choice

        table = CaseTable(self, data, weights)
        keys = table.keys if nodes is None else _learned(self, nodes)
        return self._core.score_links(*table.arguments, keys, choice("score", score, SCORES), prior)

    def learn_file(self, path: Union[str, os.PathLike[str]], nodes: Nodes | None = None, degree: float = 1.0) -> None:
        """Learns the tables from a case file, on top of what they have learned; degree -1 unlearns it."""
        self._core.learn_file(os.fspath(path), _learned(self, nodes), degree)
