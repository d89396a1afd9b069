"""Learning and beliefs over tables of cases that lie in parts, on whatever machines.

The net travels as text. A worker counts its part and sends back the counts; these are added up where the call was made, in
the order of the parts, so that the answer does not depend on which worker is ready first. What an engine has to do is in
the modules spark and dask: to call a Part on each part, and to bring back what it answers.
"""

from __future__ import annotations

import math
from collections.abc import Callable, Iterable, Sequence
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from ._errors import Error
from ._learning import Counts, _learned
from ._net import Net, read_text
from ._node import Node

if TYPE_CHECKING:
    Nodes = Union[Iterable[Union[Node, str]], Node, str]

Counted = tuple[bytes, float]  # counts, log likelihood


class Part:
    """What counts a part of a table, given in batches."""

    def __init__(self, counts: Counts, columns: Sequence[str], weights: str | None, expects: bool) -> None:
        net = counts._net
        self.columns = _known(net, [c for c in columns if c != weights]) + ([weights] if weights is not None else [])
        self._text = net.write()
        self._nodes = [net._core.node_name(key) for key in counts._keys]
        self._weights, self._expects = weights, expects

    def __call__(self, batches: Iterable[Any]) -> Counted:
        own = read_text(self._text, "dne").counts(self._nodes)
        logliks = []
        for batch in batches:
            if self._expects:
                logliks.append(own.expect(batch, self._weights, threads=1))
            else:
                own.add(batch, self._weights)
        return own.values.tobytes(), math.fsum(logliks)


class Beliefs:
    """What finds the beliefs of a part: columns NODE=STATE, and logprob."""

    def __init__(self, net: Net, columns: Sequence[str], targets: Nodes | None, threads: int) -> None:
        _known(net, columns)
        self._text = net.write()
        self._targets = [net._core.node_name(key) for key in net._targets(net._columns(columns), targets)]
        self._threads = threads
        self.names = [f"{name}={state}" for name in self._targets for state in net[name].states]

    def __call__(self, batches: Iterable[Any]) -> Iterable[tuple[Any, Any]]:
        """Each batch with its beliefs."""
        own = read_text(self._text, "dne")
        for batch in batches:
            yield batch, own.infer(batch, self._targets, threads=self._threads)


def _known(net: Net, columns: Sequence[str]) -> list[str]:
    known = list(net._columns(columns))
    if not known:
        raise Error(2471, 5, f"no column is a node of net {net.name!r}")
    return known


def add_up(counts: Counts, parts: Iterable[Counted]) -> float:
    """In the order of the parts; answers the log likelihood of all."""
    total = counts.values
    logliks = []
    for values, loglik in parts:
        total += np.frombuffer(values, np.float64)
        logliks.append(loglik)
    counts.values = total
    return math.fsum(logliks)


def em(
    net: Net, nodes: Nodes | None, prior: float, iterations: int, tolerance: float, expect: Callable[[Counts], float]
) -> float:
    """Rounds of counts that are expected by all parts, and tables learned from them; one change for undo."""
    keys = _learned(net, nodes)
    with net.change():
        last = -math.inf
        for round_ in range(iterations + 1):
            counts = Counts(net, [Node(net, key) for key in keys])
            loglik = expect(counts)
            whole = loglik + _log_prior(net, keys, prior)
            if round_ == iterations or (tolerance > 0 and abs(whole - last) <= tolerance * abs(whole)):
                break
            counts.learn(prior)
            last = whole
    return loglik


def _log_prior(net: Net, keys: list[int], prior: float) -> float:
    """What EM with a prior compares, besides the log likelihood."""
    if prior == 0:
        return 0.0
    total = 0.0
    for key in keys:
        table = Node(net, key).table
        if table is None:
            continue
        entries = table[table[..., 0] >= 0].astype(np.float64)  # but rows that cannot occur
        if (entries <= 0).any():
            return -math.inf
        total += float(np.log(entries).sum()) * prior / table.shape[-1]
    return total
