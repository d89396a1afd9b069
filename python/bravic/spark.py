"""Learning and beliefs over Spark's data frames, on as many machines as there are.

Every partition is counted by itself, in batches of Arrow's; a task that is lost is counted again by another worker. Workers
need this package, pyarrow and numpy.

    bravic.spark.learn(net, frame)
    scored = bravic.spark.infer(net, frame, ["Lung"])
"""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from importlib import import_module
from typing import TYPE_CHECKING, Any, Union

from . import _parts
from ._learning import Counts
from ._net import Net
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
    return _parts.em(net, nodes, prior, iterations, tolerance, lambda counts: _count(counts, frame, weights, expects=True))


def infer(net: Net, frame: Any, targets: Nodes | None = None, *, threads: int = 1) -> Any:
    """The frame with a column for each state of each target, NODE=STATE, and logprob: see :meth:`Net.infer`."""
    part = _parts.Beliefs(net, frame.columns, targets, threads)

    def answer(batches: Iterator[Any]) -> Iterator[Any]:
        pyarrow: Any = import_module("pyarrow")
        for batch, beliefs in part(batches):
            table = pyarrow.Table.from_batches([batch])
            for name in [*part.names, "logprob"]:
                table = table.append_column(name, beliefs.column(name))
            yield from table.to_batches()

    types = [f"{_quoted(name)} float" for name in part.names] + ["logprob double"]
    schema = ", ".join([*(f"{_quoted(f.name)} {f.dataType.simpleString()}" for f in frame.schema.fields), *types])
    return frame.mapInArrow(answer, schema)


def _quoted(name: str) -> str:
    return "`" + name.replace("`", "``") + "`"


def _count(counts: Counts, frame: Any, weights: str | None, expects: bool) -> float:
    """Adds what all partitions say; answers the log likelihood, where counts are expected ones."""
    part = _parts.Part(counts, frame.columns, weights, expects)

    def count(batches: Iterator[Any]) -> Iterator[Any]:
        pyarrow: Any = import_module("pyarrow")
        context = import_module("pyspark").TaskContext.get()
        values, loglik = part(batches)
        row = {"part": [context.partitionId() if context else 0], "counts": [values], "loglik": [loglik]}
        schema = pyarrow.schema([("part", pyarrow.int32()), ("counts", pyarrow.binary()), ("loglik", pyarrow.float64())])
        yield pyarrow.RecordBatch.from_pydict(row, schema=schema)

    rows = frame.select(*map(_quoted, part.columns)).mapInArrow(count, _COUNTED).collect()
    return _parts.add_up(counts, ((row["counts"], row["loglik"]) for row in sorted(rows, key=lambda row: row["part"])))
