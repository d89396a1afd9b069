"""Many cases at once: beliefs of each, learning from them, drawing them."""

from __future__ import annotations

import os
import tempfile
from collections.abc import Iterable
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from . import _bravic
from ._errors import Error, unknown
from ._frames import best_kind, columns_of, frame_of, kind_of, matrix, names_of
from ._node import NATURE, Node

if TYPE_CHECKING:
    Nodes = Union[Iterable[Union[Node, str]], Node, str]


class Cases:
    """The part of a net that has to do with tables of cases."""

    _core: _bravic.Net

    if TYPE_CHECKING:

        @property
        def name(self) -> str: ...
        @property
        def nodes(self) -> list[Node]: ...
        def _key(self, node: Node | str) -> int: ...
        def _keys(self, nodes: Nodes) -> list[int]: ...

    def _columns(self, names: Iterable[str]) -> dict[str, Node]:
        """The nodes that have a column; no two columns are of one node."""
        nodes: dict[str, Node] = {}
        taken: dict[int, str] = {}
        for name in names:
            key = self._core.find_node(name)
            if key < 0:
                continue
            if key in taken:
                node = self._core.node_name(key)
                raise Error(2471, 5, f"columns {taken[key]!r} and {name!r} are both of node {node!r}")
            taken[key] = name
            nodes[name] = Node(self, key)  # type: ignore[arg-type]
        return nodes

    def infer(
        self, data: Any, targets: Nodes | None = None, *, threads: int = 0, log_probability: bool = True
    ) -> Any:
        """The beliefs that each case gives rise to: a table of the same kind, with a row for each row.

        data: a frame of pandas or polars, a table of Arrow, a dict of columns, or a list of dicts. Columns are found by the
        nodes' names (or labels); those of no node are left aside, and so are the columns of targets and the net's own findings. Entries are
        states by name, label or number, or values; None, NaN, "" and "*" are missing. targets: None for all nature nodes
        without a column. threads: 0 for as many as there are processors; the answers are the same for any number.

        Columns of the answer are NODE=STATE, and logprob, the natural logarithm of the probability of what is known of the
        case. A case that is impossible has beliefs of 0 and -inf.

        >>> import bravic
        >>> net = bravic.Net()
        >>> rain = net.add_node("Rain", ["yes", "no"], table=[0.5, 0.5])
        >>> grass = net.add_node("Grass", ["wet", "dry"], parents=[rain], table=[[0.75, 0.25], [0.25, 0.75]])
        >>> net.infer({"Grass": ["wet", "dry", None]}, ["Rain"])["Rain=yes"]
        array([0.75, 0.25, 0.5 ], dtype=float32)
        """
        columns, rows = columns_of(data)
        observed = self._columns(columns)
        if not observed and columns:
            raise Error(2471, 5, f"no column is a node of net {self.name!r}")
        wanted = self._targets(observed, targets)
        observed = {name: node for name, node in observed.items() if node._key not in wanted and node.kind != "utility"}
        states = matrix(data, observed, rows, columns)
        sizes = [self._core.num_states(key) for key in wanted]
        beliefs = np.empty((rows, sum(sizes)), np.float32)
        logprobs = np.empty(rows, np.float64)
        self._core.beliefs_of_cases(
            [node._key for node in observed.values()], states, rows, wanted, beliefs, logprobs, threads
        )
        answer: dict[str, Any] = {}
        targeted = [Node(self, key) for key in wanted]  # type: ignore[arg-type]
        names = [f"{node.name}={state}" for node in targeted for state in node.states]
        for i, name in enumerate(names):
            answer[name] = np.ascontiguousarray(beliefs[:, i])
        if log_probability:
            answer["logprob"] = logprobs
        return frame_of(answer, kind_of(data), data)

    def _targets(self, observed: dict[str, Node], targets: Nodes | None) -> list[int]:
        if targets is not None:
            return self._keys(targets)
        taken = {node._key for node in observed.values()}
        core = self._core
        return [k for k in core.nodes() if k not in taken and core.kind(k) == NATURE and core.num_states(k) > 0]

    def sample(self, count: int, *, seed: int | None = None, nodes: Nodes | None = None, frame: str | None = None) -> Any:
        """Draws cases from the net's joint distribution given its findings.

        frame: "pandas", "polars", "dict" (of arrays) or "rows"; None: the first of these that is installed. States come by
        name, values of continuous nodes as numbers.
        """
        if frame not in (None, "pandas", "polars", "dict", "rows"):
            raise unknown("kind of frame", frame, ("pandas", "polars", "dict", "rows"))
        core = self._core
        keys = self._keys(nodes) if nodes is not None else [k for k in core.nodes() if core.kind(k) == NATURE]
        if seed is not None:
            _bravic.seed(seed)
        drawn = [Node(self, key) for key in keys]  # type: ignore[arg-type]
        kind = frame or best_kind()
        with tempfile.TemporaryDirectory(prefix="bravic") as directory:
            path = os.path.join(directory, "cases.cas")
            core.generate(keys, count, path)
            discrete = [node for node in drawn if node.is_discrete]
            states = np.empty((count, len(discrete)), np.int32)
            rows = core.read_states(path, [node._key for node in discrete], states, count) if discrete else count
            values = _values(path, [node.name for node in drawn if not node.is_discrete], rows)
        columns: dict[str, Any] = {}
        places = {node._key: i for i, node in enumerate(discrete)}
        for node in drawn:
            if node.is_discrete:
                columns[node.name] = names_of(states[:rows, places[node._key]], node.states, kind)
            else:
                columns[node.name] = values[node.name]
        return frame_of(columns, kind)


def _values(path: str, names: list[str], rows: int) -> dict[str, npt.NDArray[np.float64]]:
    """Columns of numbers of a case file that the library has written."""
    if not names:
        return {}
    with open(path, encoding="utf-8", errors="surrogateescape") as file:
        lines = iter(file)
        header = next(line for line in lines if not line.startswith("//") and line.strip()).split()
        places = [header.index(name) for name in names]
        cells = [line.rstrip("\n").split("\t") for line in lines if line.strip()]
    numbers = np.array([[float(row[place]) for place in places] for row in cells[:rows]], np.float64)
    numbers = numbers.reshape(rows, len(names))
    return {name: np.ascontiguousarray(numbers[:, i]) for i, name in enumerate(names)}
