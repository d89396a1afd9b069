"""Learning and beliefs over Spark's data frames, on as many machines as there are.

The net travels as text. Every partition is counted by itself, in batches of Arrow's, and the counts are added up where the
call was made; a task that is lost is counted again by another worker. Workers need this package, pyarrow and numpy.

    bravic.spark.learn(net, frame)
    scored = bravic.spark.infer(net, frame, ["Lung"])
"""

from __future__ import annotations

import math
from collections.abc import Iterable, Iterator
from importlib import import_module
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from ._errors import Error
from ._learning import Counts, _learned
from ._net import Net, read_text
from ._node import Node

if TYPE_CHECKING:
    Nodes = Union[Iterable[Union[Node, str]], Node, str]

_COUNTED = "part int, counts binary, loglik double"


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
    answers the log likelihood. As :meth:`Net.learn` with method "em"; cache the frame before."""
    keys = _learned(net, nodes)
    with net.change():
        last = -math.inf
        for round_ in range(iterations + 1):
            counts = Counts(net, [Node(net, key) for key in keys])
            loglik = _count(counts, frame, weights, expects=True)
            whole = loglik + _log_prior(net, keys, prior)
            if round_ == iterations or (tolerance > 0 and abs(whole - last) <= tolerance * abs(whole)):
                break
            counts.learn(prior)
            last = whole
    return loglik


def infer(net: Net, frame: Any, targets: Nodes | None = None, *, threads: int = 1) -> Any:
    """The frame with a column for each state of each target, NODE=STATE, and logprob: see :meth:`Net.infer`."""
    text = net.write()
    observed = net._columns(frame.columns)
    if not observed:
        raise Error(2471, 5, f"no column is a node of net {net.name!r}")
    names = [net._core.node_name(key) for key in net._targets(observed, targets)]
    added = [f"{name}={state}" for name in names for state in net[name].states]

    def answer(batches: Iterator[Any]) -> Iterator[Any]:
        pyarrow: Any = import_module("pyarrow")

        own = read_text(text, "dne")
        for batch in batches:
            beliefs = own.infer(batch, names, threads=threads)
            table = pyarrow.Table.from_batches([batch])
            for name in [*added, "logprob"]:
                table = table.append_column(name, beliefs.column(name))
            yield from table.to_batches()

    types = [f"{_quoted(name)} float" for name in added] + ["logprob double"]
    schema = ", ".join([*(f"{_quoted(f.name)} {f.dataType.simpleString()}" for f in frame.schema.fields), *types])
    return frame.mapInArrow(answer, schema)


def _quoted(name: str) -> str:
    return "`" + name.replace("`", "``") + "`"


def _count(counts: Counts, frame: Any, weights: str | None, expects: bool) -> float:
    """Adds what all partitions say; answers the log likelihood, where counts are expected ones."""
    net = counts._net
    text = net.write()
    names = [net._core.node_name(key) for key in counts._keys]
    columns = [*net._columns(c for c in frame.columns if c != weights), *([weights] if weights is not None else [])]
    if len(columns) == (weights is not None):
        raise Error(2471, 5, f"no column is a node of net {net.name!r}")

    def count(batches: Iterator[Any]) -> Iterator[Any]:
        pyarrow: Any = import_module("pyarrow")
        context = import_module("pyspark").TaskContext.get()

        own = read_text(text, "dne").counts(names)
        logliks = []
        for batch in batches:
            if expects:
                logliks.append(own.expect(batch, weights, threads=1))
            else:
                own.add(batch, weights)
        row = {"part": [context.partitionId() if context else 0], "counts": [own.values.tobytes()],
               "loglik": [math.fsum(logliks)]}
        schema = pyarrow.schema([("part", pyarrow.int32()), ("counts", pyarrow.binary()), ("loglik", pyarrow.float64())])
        yield pyarrow.RecordBatch.from_pydict(row, schema=schema)

    # In the order of partitions, so that the same bits come out whichever is ready first.
    parts = sorted(frame.select(*map(_quoted, columns)).mapInArrow(count, _COUNTED).collect(), key=lambda row: row["part"])
    total = counts.values
    for row in parts:
        total += np.frombuffer(row["counts"], np.float64)
    counts.values = total
    return math.fsum(row["loglik"] for row in parts)


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
