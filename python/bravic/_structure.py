"""Learning which links there are, and cutting numbers into intervals for it."""

from __future__ import annotations

import os
from collections.abc import Iterable, Mapping, Sequence
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _bravic
from ._errors import Error, unknown
from ._frames import columns_of, is_missing
from ._learning import CaseTable
from ._net import Net
from ._node import Node

SCORES = ("bic", "bdeu", "loglik")
METHODS = ("hill", "order", "exact", "tree", "tan")
MISSING = ("families", "em")
CUTS = ("width", "count", "information")
MAX_STATES = 1000  # as the library has it of a case file

Pairs = Iterable[tuple[str, str]]


def choice(what: str, name: str, names: Sequence[str]) -> int:
    if name not in names:
        raise unknown(what, name, names)
    return names.index(name)


def learn_structure(
    data: Any,
    score: str = "bic",
    *,
    method: str = "hill",
    prior: float = 1.0,
    target: str | None = None,
    max_parents: int | None = None,
    max_entries: float | None = None,
    seconds: float | None = None,
    require: Pairs = (),
    forbid: Pairs = (),
    tiers: Mapping[str, int] | None = None,
    missing: str = "families",
    weights: Any = None,
    start: Net | None = None,
    restarts: int | None = None,
    seed: int = 0,
    threads: int = 0,
    name: str = "Learned",
) -> Net:
    """A net of the columns of a table, with the links that explain it best, and tables learned from it.

    data: as for :meth:`Net.infer`; every column becomes a node, whose states are the values that occur, in that order.
    score: "bic", "bdeu" (prior: its equivalent sample size), "loglik". method: "hill" (greedy, with restarts), "order",
    "exact", "tree", "tan" (a classifier of ``target``). max_parents, max_entries, seconds: limits for a node, for the
    junction tree, and for the search. require, forbid: links, as pairs (from, to). tiers: node -> number; no link leads
    from a higher one to a lower one. missing: "families", a family is judged by the cases that know it; "em". start: a
    net whose nodes are taken as they are, and whose links the search begins from. A seed binds the result, unless
    ``seconds`` cuts the search; threads do not matter to it.

    >>> import bravic
    >>> rows = [("a", "x", 1)] * 40 + [("b", "y", 1)] * 40 + [("a", "x", 2)] * 40 + [("b", "y", 2)] * 40
    >>> net = bravic.learn_structure([dict(zip(["A", "B", "C"], row)) for row in rows])
    >>> sorted({node.name, parent.name} == {"A", "B"} for node in net for parent in node.parents)
    [True]
    """
    options: dict[str, object] = {
        "score": choice("score", score, SCORES), "method": choice("method", method, METHODS), "prior": float(prior),
        "missing": choice("way with missing cells", missing, MISSING), "seed": seed,
        "numthreads": threads or min(os.cpu_count() or 1, 256), "keeplinks": int(start is not None),
    }
    if restarts is not None:
        options["restarts"] = restarts if restarts > 0 else -1
    for key, limit in (("maxparents", max_parents), ("maxentries", max_entries), ("maxseconds", seconds)):
        if limit is not None:
            if limit <= 0:
                raise ValueError(f"a limit is not above 0: {limit}")
            options[key] = int(limit) if key == "maxparents" else float(limit)
    columns, _ = columns_of(data)
    if isinstance(weights, str):
        columns.pop(weights, None)
    net = start.copy() if start is not None else _net_of(columns, name)
    table = CaseTable(net, data, weights)
    if target is not None:
        options["target"] = net[target]._key
    options["required"] = [(net[a]._key, net[b]._key) for a, b in require]
    options["forbidden"] = [(net[a]._key, net[b]._key) for a, b in forbid]
    if tiers is not None:
        by_key = {net[node]._key: tier for node, tier in tiers.items()}
        if missing_tiers := [net._core.node_name(key) for key in table.keys if key not in by_key]:
            raise ValueError(f"no tier is given for {', '.join(missing_tiers)}")
        options["tiers"] = [by_key[key] for key in table.keys]
    net._core.learn_links(*table.arguments, table.keys, options)
    return net


def discretize(values: Any, method: str = "width", *, bins: int = 5, target: Any = None) -> NDArray[np.float64]:
    """The bounds of intervals that numbers fall into, for ``pandas.cut`` or a node's ``levels``.

    method: "width" (equal width), "count" (about equally many numbers in each, equal ones together), or "information"
    (what tells most about ``target``, a class for each value, and no more than is worth it: Fayyad & Irani 1993). bins:
    the most intervals. What is missing or not finite is left out. The outermost bounds are infinite.

    >>> import bravic
    >>> bravic.discretize([1, 2, 3, 21, 22, 23], "information", target=list("aaabbb")).tolist()
    [-inf, 12.0, inf]
    """
    way = choice("method", method, CUTS)
    numbers = np.ascontiguousarray([np.nan if is_missing(value) else value for value in values], dtype=np.float64)
    classes = None
    if target is not None:
        different: dict[Any, int] = {}
        codes = [-1 if is_missing(value) else different.setdefault(value, len(different)) for value in target]
        classes = np.array(codes, dtype=np.intc)
    elif method == "information":
        raise ValueError("cutting by information needs a target")
    if bins < 1:
        raise ValueError(f"at least one interval is made, not {bins}")
    bounds: NDArray[np.float64] = np.empty(bins + 1)
    bounds = bounds[: _bravic.find_intervals(numbers, classes, len(numbers), way, bins, bounds) + 1]
    bounds[0], bounds[-1] = -np.inf, np.inf
    return bounds


def _net_of(columns: Mapping[str, Any], name: str) -> Net:
    """A node for each column, with the values that occur as states."""
    net = Net(name)
    for column_name, column in columns.items():
        states = _values(column)
        if not states:
            raise Error(2471, 5, f"column {column_name!r} has no values")
        if len(states) > MAX_STATES:
            raise Error(2471, 5, f"column {column_name!r} has {len(states)} different values (at most {MAX_STATES}): "
                                 "make classes of them first")
        node: Node = net.add_node(column_name, states)
        assert len(node) == len(states)
    return net


def _values(column: Any) -> list[str]:
    """Different values in the order in which they occur first; categories in their own."""
    categories = getattr(getattr(column, "cat", None), "categories", None)
    if categories is not None and hasattr(column.cat, "codes"):
        used = set(np.unique(np.asarray(column.cat.codes)).tolist())
        values: Iterable[Any] = [category for i, category in enumerate(categories) if i in used]
    elif hasattr(column, "to_pylist"):  # Arrow
        values = column.unique().to_pylist()
    elif hasattr(column, "unique"):
        different = column.unique(maintain_order=True) if hasattr(column, "to_physical") else column.unique()
        values = different.to_list() if hasattr(different, "to_list") else list(different)
    else:
        values = dict.fromkeys(column.tolist() if hasattr(column, "tolist") else column)
    texts = (_text(value) for value in values if not is_missing(value))
    return list(dict.fromkeys(text for text in texts if text not in ("", "*", "?", "NA")))


def _text(value: Any) -> str:
    """As cases are matched with states."""
    if isinstance(value, (float, np.floating)) and float(value).is_integer():
        return str(int(value))
    return str(value) if not isinstance(value, (float, np.floating)) else repr(float(value))
