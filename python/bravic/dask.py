"""Learning and beliefs over Dask's data frames, on as many machines as its scheduler has.

    bravic.dask.learn(net, frame)
    scored = bravic.dask.infer(net, frame, ["Lung"]).compute()
"""

from __future__ import annotations

from collections.abc import Iterable
from importlib import import_module
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from . import _parts
from ._learning import Counts
from ._net import Net
from ._node import Node

if TYPE_CHECKING:
    Nodes = Union[Iterable[Union[Node, str]], Node, str]


def learn(net: Net, frame: Any, *, nodes: Nodes | None = None, prior: float = 1.0, weights: str | None = None) -> None:
    """Sets tables by counting, as :meth:`Net.learn`: the same tables, bit for bit where weights are whole numbers.

    weights: the name of a column that says how often each case occurred.
    """
    counts = net.counts(nodes)
    _count(counts, frame, weights, expects=False)
    counts.learn(prior)


def em(
    net: Net, frame: Any, *, nodes: Nodes | None = None, prior: float = 1.0, weights: str | None = None,
    iterations: int = 100, tolerance: float = 1e-6,
) -> float:
    """Learns from missing cells and hidden nodes by expectation and maximization, a pass over the frame for each round;
    answers the log likelihood. As :meth:`Net.learn` with method "em"; persist the frame before."""
    return _parts.em(net, nodes, prior, iterations, tolerance, lambda counts: _count(counts, frame, weights, expects=True))


def infer(net: Net, frame: Any, targets: Nodes | None = None, *, threads: int = 1) -> Any:
    """The frame with a column for each state of each target, NODE=STATE, and logprob: see :meth:`Net.infer`."""
    part = _parts.Beliefs(net, list(frame.columns), targets, threads)
    added = {**{name: np.float32 for name in part.names}, "logprob": np.float64}

    def answer(rows: Any) -> Any:
        ((_, beliefs),) = part([rows])
        return rows.assign(**{name: beliefs[name] for name in added})

    meta = frame._meta.assign(**{name: np.empty(0, kind) for name, kind in added.items()})
    return frame.map_partitions(answer, meta=meta)


def _count(counts: Counts, frame: Any, weights: str | None, expects: bool) -> float:
    """Adds what all partitions say; answers the log likelihood, where counts are expected ones."""
    dask: Any = import_module("dask")
    part = _parts.Part(counts, list(frame.columns), weights, expects)
    count = dask.delayed(part)
    return _parts.add_up(counts, dask.compute(*[count([rows]) for rows in frame[part.columns].to_delayed()]))
