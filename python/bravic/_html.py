"""Nets and nodes as a notebook shows them. Every text goes through :func:`escape`: names, titles and comments are
anybody's."""

from __future__ import annotations

from html import escape as _escape
from typing import TYPE_CHECKING

import numpy as np

from ._errors import Error

if TYPE_CHECKING:
    from ._net import Net
    from ._node import Node

MAX_ROWS, MAX_DRAWN, MAX_SHOWN = 64, 150, 30


def escape(text: str) -> str:
    """As text within XML and HTML, also between quotes; what neither can hold becomes a replacement character."""
    return _escape("".join(c if _is_text(c) else "\ufffd" for c in text), quote=True)


def _is_text(c: str) -> bool:
    return c in "\t\n" or (c >= " " and not "\ud800" <= c <= "\udfff" and c not in "\x7f\ufffe\uffff")


def _cells(tag: str, texts: list[str]) -> str:
    return "".join(f"<{tag}>{escape(text)}</{tag}>" for text in texts)


def _number(number: float) -> str:
    return "" if np.isnan(number) else f"{number:.6g}"


def node_table(node: Node) -> str:
    """The node's table, a row for each configuration of its parents."""
    try:
        table = node.table
        heading = f"<b>{escape(node.title or node.label)}</b> ({escape(node.kind)})"
        parents = [p.name if p is not None else "?" for p in node.parents]
        is_function = node._has_numbers
        head = "<tr>" + _cells("th", [*parents, *(["value"] if is_function else node.labels)]) + "</tr>"
        if table is None:
            return f"<div>{heading}: {escape(', '.join(node.labels) or 'no states')}; no table</div>"
        shape = table.shape if is_function else table.shape[:-1]
        rows = table.reshape(-1, 1 if is_function else table.shape[-1])
        lines = []
        for i, numbers in enumerate(rows[:MAX_ROWS]):
            given = [str(s) if p is None else p.labels[s] for p, s in zip(node.parents, np.unravel_index(i, shape))]
            lines.append("<tr>" + _cells("th", given) + _cells("td", [_number(float(n)) for n in numbers]) + "</tr>")
        more = f"<div>and {len(rows) - MAX_ROWS} rows more</div>" if len(rows) > MAX_ROWS else ""
        return f"<div>{heading}</div><table>{head}{''.join(lines)}</table>{more}"
    except Error:
        return f"<div>{escape(repr(node))}</div>"


def picture(net: Net) -> str:
    """The net as a picture; of a large one the names of its nodes."""
    try:
        if 0 < len(net) <= MAX_DRAWN:
            return net.svg()
        names = [node.label for node in net.nodes[:MAX_SHOWN]]
        more = ", ..." if len(net) > MAX_SHOWN else ""
        return f"<div><b>{escape(net.title or net.name)}</b>: {len(net)} nodes: {escape(', '.join(names))}{more}</div>"
    except Error:
        return f"<div>{escape(repr(net))}</div>"
