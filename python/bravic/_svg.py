"""Nets as SVG. Boxes are sized here and drawn here; only where they stand and how links run is Graphviz's (`dot`), where
it is installed. Else nodes stand in layers, each below its parents, in the order that crosses few links (barycentres;
Sugiyama, Tagawa & Toda 1981)."""

from __future__ import annotations

import shutil
import subprocess
from dataclasses import dataclass, field
from typing import TYPE_CHECKING

from ._errors import Error
from ._html import escape

if TYPE_CHECKING:
    from ._net import Net
    from ._node import Node

LINE, CHARACTER, BAR, PAD = 16, 7.0, 60, 8
GAP_ACROSS, GAP_DOWN, MARGIN = 28, 44, 12
MAX_STATES, MAX_CHARACTERS = 24, 28
LAYOUT_SECONDS = 20

Point = tuple[float, float]


@dataclass
class Box:
    """A node to be drawn; its middle is at (x, y)."""

    title: str
    kind: str
    rows: list[tuple[str, float | None]]
    is_found: bool
    parents: list[int]
    width: float = 0
    height: float = 0
    x: float = 0
    y: float = 0


@dataclass
class Picture:
    boxes: list[Box]
    curves: dict[tuple[int, int], list[Point]] = field(default_factory=dict)  # by (parent, child); Bezier points
    width: float = 0
    height: float = 0


def draw(net: Net, beliefs: bool = True) -> str:
    """The picture of a net as an SVG document."""
    picture = Picture(_boxes(net, beliefs))
    if not _by_graphviz(picture):
        _by_layers(picture)
    return _document(picture, net.title or net.name)


def _cut(text: str) -> str:
    text = " ".join(text.split())
    return text if len(text) <= MAX_CHARACTERS else text[: MAX_CHARACTERS - 1] + "…"


def _boxes(net: Net, with_beliefs: bool) -> list[Box]:
    nodes = net.nodes
    places = {node: i for i, node in enumerate(nodes)}
    try:
        beliefs = net.beliefs() if with_beliefs else {}
    except Error:  # contradicting findings, tables not given yet, decisions
        beliefs = {}
    found = set(net._found())
    boxes = []
    for node in nodes:
        probs = list(beliefs.get(node.name, {}).values())
        rows = [(_cut(label), probs[i] if i < len(probs) else None) for i, label in enumerate(node.labels)]
        if len(rows) > MAX_STATES:
            rest = rows[MAX_STATES - 1 :]
            share = sum(p or 0 for _, p in rest) if probs else None
            rows = [*rows[: MAX_STATES - 1], (f"{len(rest)} more", share)]
        parents = [places[p] for p in node.parents if p is not None]
        box = Box(_cut(node.title or node.label), node.kind, rows, node in found, parents)
        text = max([len(box.title) + 1, *(len(label) for label, _ in rows)]) * CHARACTER
        box.width = max(text + 2 * PAD, max((len(label) for label, _ in rows), default=0) * CHARACTER
                        + (BAR + 7 * CHARACTER + 3 * PAD if probs else 2 * PAD), 60)
        box.height = LINE * (1 + len(rows)) + (2 * PAD if rows else PAD)
        boxes.append(box)
    return boxes


# ---- where boxes stand ----


def _by_graphviz(picture: Picture) -> bool:
    """By `dot`, which is told sizes and numbers alone, none of the texts."""
    dot = shutil.which("dot")
    if dot is None or not picture.boxes:
        return False
    lines = ["digraph { graph [nodesep=0.35 ranksep=0.5]; node [shape=box fixedsize=true label=\"\"];"]
    for i, box in enumerate(picture.boxes):
        lines.append(f"{i} [width={box.width / 72:.4f} height={box.height / 72:.4f}];")
        lines += [f"{parent} -> {i};" for parent in box.parents]
    lines.append("}")
    try:
        plain = subprocess.run([dot, "-Tplain"], input="\n".join(lines), capture_output=True, text=True, check=True,
                               timeout=LAYOUT_SECONDS).stdout
        _read_plain(picture, plain)
    except (OSError, subprocess.SubprocessError, ValueError, IndexError):
        return False
    return True


def _read_plain(picture: Picture, plain: str) -> None:
    for line in plain.splitlines():
        words = line.split()
        if words[0] == "graph":
            picture.width, picture.height = (float(w) * 72 + 2 * MARGIN for w in words[2:4])
        elif words[0] == "node":
            box = picture.boxes[int(words[1])]
            box.x, box.y = float(words[2]) * 72 + MARGIN, picture.height - float(words[3]) * 72 - MARGIN
        elif words[0] == "edge":
            numbers = [float(w) * 72 for w in words[4 : 4 + 2 * int(words[3])]]
            picture.curves[int(words[1]), int(words[2])] = [
                (x + MARGIN, picture.height - y - MARGIN) for x, y in zip(numbers[::2], numbers[1::2])
            ]


def _layers(boxes: list[Box]) -> list[list[int]]:
    """Each below its parents; a link that closes a cycle counts for nothing."""
    depth = [0] * len(boxes)
    for i, box in enumerate(boxes):  # parents come first but on cycles
        depth[i] = max((depth[p] + 1 for p in box.parents if p < i), default=0)
    layers: list[list[int]] = [[] for _ in range(max(depth, default=0) + 1)]
    for i, d in enumerate(depth):
        layers[d].append(i)
    return layers


def _by_layers(picture: Picture) -> None:
    boxes = picture.boxes
    layers = _layers(boxes)
    neighbours: list[list[int]] = [list(box.parents) for box in boxes]
    for i, box in enumerate(boxes):
        for parent in box.parents:
            neighbours[parent].append(i)
    place = {i: float(k) for layer in layers for k, i in enumerate(layer)}
    for sweep in range(8):
        for layer in layers if sweep % 2 == 0 else reversed(layers):
            near = {i: [place[n] for n in neighbours[i]] or [place[i]] for i in layer}
            middle = {i: sum(places) / len(places) for i, places in near.items()}
            layer.sort(key=lambda i: (middle[i], place[i]))
            place.update({i: float(k) for k, i in enumerate(layer)})
    widths = [sum(boxes[i].width + GAP_ACROSS for i in layer) - GAP_ACROSS for layer in layers]
    picture.width = max(widths, default=0) + 2 * MARGIN
    top: float = MARGIN
    for layer, width in zip(layers, widths):
        left = (picture.width - width) / 2
        height = max((boxes[i].height for i in layer), default=0)
        for i in layer:
            boxes[i].x, boxes[i].y = left + boxes[i].width / 2, top + height / 2
            left += boxes[i].width + GAP_ACROSS
        top += height + GAP_DOWN
    picture.height = top - GAP_DOWN + MARGIN


# ---- how they are drawn ----

_FILL = {"nature": "#ffffff", "decision": "#d9efd9", "utility": "#e8e0f5"}


def _row(box: Box, index: int) -> str:
    label, probability = box.rows[index]
    left, y = box.x - box.width / 2 + PAD, box.y - box.height / 2 + PAD + LINE * (index + 1.75)
    text = f'<text x="{left:.1f}" y="{y:.1f}">{escape(label)}</text>'
    if probability is None:
        return text
    end = box.x + box.width / 2 - PAD
    start = end - BAR
    percent = f"{100 * probability:g}" if probability in (0, 1) else f"{min(max(100 * probability, 0.01), 99.99):.2f}"
    bar = f'<rect x="{start:.1f}" y="{y - 9:.1f}" width="{BAR * probability:.1f}" height="9" fill="#7a9cc6"/>'
    return text + bar + f'<text x="{start - 5:.1f}" y="{y:.1f}" text-anchor="end">{percent}</text>'


def _box(box: Box) -> str:
    left, top = box.x - box.width / 2, box.y - box.height / 2
    fill = "#fff3bf" if box.is_found else _FILL.get(box.kind, "#eeeeee")
    round_ = 6 if box.kind == "nature" else 0
    dash = ' stroke-dasharray="3 2"' if box.kind == "constant" else ""
    frame = (f'<rect x="{left:.1f}" y="{top:.1f}" width="{box.width:.1f}" height="{box.height:.1f}" rx="{round_}" '
             f'fill="{fill}" stroke="#444" stroke-width="{2 if box.is_found else 1}"{dash}/>')
    title = (f'<text x="{box.x:.1f}" y="{top + PAD / 2 + 12:.1f}" text-anchor="middle" font-weight="bold">'
             f"{escape(box.title)}</text>")
    return frame + title + "".join(_row(box, i) for i in range(len(box.rows)))


def _border(box: Box, towards: Point) -> Point:
    """Where the line from the box's middle leaves it."""
    dx, dy = towards[0] - box.x, towards[1] - box.y
    scale = max(abs(dx) / (box.width / 2), abs(dy) / (box.height / 2), 1e-9)
    return (box.x + dx / scale, box.y + dy / scale)


def _link(picture: Picture, parent: int, child: int) -> str:
    above, below = picture.boxes[parent], picture.boxes[child]
    points = picture.curves.get((parent, child))
    if points and len(points) >= 4:
        last = _border(below, points[-1])
        path = f"M{points[0][0]:.1f},{points[0][1]:.1f} C" + " ".join(f"{x:.1f},{y:.1f}" for x, y in points[1:])
        path += f" L{last[0]:.1f},{last[1]:.1f}"
    else:
        (x0, y0), (x1, y1) = _border(above, (below.x, below.y)), _border(below, (above.x, above.y))
        path = f"M{x0:.1f},{y0:.1f} L{x1:.1f},{y1:.1f}"
    dash = ' stroke-dasharray="5 3"' if below.kind == "decision" else ""
    return f'<path d="{path}" fill="none" stroke="#444"{dash} marker-end="url(#bravic-arrow)"/>'


def _document(picture: Picture, title: str) -> str:
    width, height = max(picture.width, 2 * MARGIN), max(picture.height, 2 * MARGIN)
    links = [_link(picture, parent, i) for i, box in enumerate(picture.boxes) for parent in box.parents]
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height:.0f}" '
        f'viewBox="0 0 {width:.1f} {height:.1f}" font-family="Helvetica,Arial,sans-serif" font-size="12">'
        f"<title>{escape(title)}</title>"
        '<defs><marker id="bravic-arrow" viewBox="0 0 10 10" refX="9" refY="5" markerWidth="7" markerHeight="7" '
        'orient="auto-start-reverse"><path d="M0,0 L10,5 L0,10 z" fill="#444"/></marker></defs>'
        + "".join(links)
        + "".join(_box(box) for box in picture.boxes)
        + "</svg>"
    )
