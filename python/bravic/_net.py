"""Nets: made, read, changed, given findings, shown and saved."""

from __future__ import annotations

import os
import threading
from collections.abc import Iterable, Iterator, Mapping, Sequence
from contextlib import contextmanager
from pathlib import Path
from typing import Any, Union

import numpy as np
import numpy.typing as npt

from . import _bravic
from ._cases import Cases
from ._errors import Error, unknown
from ._node import KINDS, NO_FINDING, Finding, Node, State, legal_name
from ._learning import Learning
from ._questions import Questions

UNDO_DEPTH = 20
FORMATS = ("dne", "bif", "xmlbif", "net", "uai", "xdsl")


class Net(Questions, Cases, Learning):
    """A belief network, or a decision network where it has decisions and utilities.

    >>> import bravic
    >>> net = bravic.Net("Lawn")
    >>> rain = net.add_node("Rain", ["yes", "no"], table=[0.2, 0.8])
    >>> grass = net.add_node("Grass", ["wet", "dry"], parents=[rain], table=[[0.9, 0.1], [0.2, 0.8]])
    >>> net.enter(Grass="wet")
    >>> round(net.beliefs()["Rain"]["yes"], 4)
    0.5294

    A net lives as long as something refers to it or a node of it, or until :meth:`free`. Any thread may use it; calls
    take turns, and those that take time let other Python threads run meanwhile. Ctrl-C halts them.
    """

    def __init__(self, name: str = "Net") -> None:
        legal = legal_name(name)
        self._begin(_bravic.new_net(legal))
        if legal != name:
            self._core.set_title(name)

    def _begin(self, core: _bravic.Net) -> None:
        self._core = core
        self._lock = threading.RLock()
        core.set_undo_depth(UNDO_DEPTH)

    @classmethod
    def _of(cls, core: _bravic.Net) -> Net:
        net = cls.__new__(cls)
        net._begin(core)
        return net

    # ---- what it is ----

    @property
    def name(self) -> str:
        """Up to 30 letters, digits and underscores."""
        return self._core.name()

    @name.setter
    def name(self, name: str) -> None:
        self._core.set_name(name)

    @property
    def title(self) -> str:
        """A name for people; any text."""
        return self._core.title()

    @title.setter
    def title(self, title: str) -> None:
        self._core.set_title(title)

    @property
    def comment(self) -> str:
        """Any text."""
        return self._core.comment()

    @comment.setter
    def comment(self, comment: str) -> None:
        self._core.set_comment(comment)

    @property
    def nodes(self) -> list[Node]:
        """All nodes, parents before their children."""
        return [Node(self, key) for key in self._core.nodes()]

    def __getitem__(self, name: str) -> Node:
        key = self._core.find_node(name) if isinstance(name, str) else -1
        if key < 0:
            raise self._unknown(name)
        return Node(self, key)

    def _unknown(self, name: object) -> Error:
        names: dict[str, None] = {}
        for node in self.nodes:
            names[node.name] = names[node.label] = None
        return unknown(f"node of net {self.name!r}:", name, names)

    def __contains__(self, name: object) -> bool:
        if isinstance(name, Node):
            return name._net is self and name.is_alive
        return isinstance(name, str) and self._core.find_node(name) >= 0

    def __iter__(self) -> Iterator[Node]:
        return iter(self.nodes)

    def __len__(self) -> int:
        return len(self._core.nodes())

    def __bool__(self) -> bool:
        return True

    def _key(self, node: Node | str) -> int:
        if isinstance(node, Node):
            if node._core is not self._core:
                raise Error(2016, 5, f"node {node!r} is of another net than {self.name!r}")
            return node._key
        return self[node]._key

    def _keys(self, nodes: Iterable[Node | str] | Node | str) -> list[int]:
        if isinstance(nodes, (str, Node)):
            return [self._key(nodes)]
        return [self._key(node) for node in nodes]

    # ---- building ----

    def add_node(
        self,
        name: str,
        states: Sequence[str] | int | None = None,
        *,
        parents: Iterable[Node | str] = (),
        table: npt.ArrayLike | None = None,
        kind: str = "nature",
        levels: Sequence[float] | None = None,
        title: str = "",
        comment: str = "",
    ) -> Node:
        """Adds a node: one change for undo, all of it or nothing.

        states: names, or how many; None makes a continuous node (of which ``levels`` are the bounds of intervals), or a
        utility. Names may be any texts: what a net does not take is made legal, and the text kept as label.

        >>> import bravic
        >>> net = bravic.Net()
        >>> net.add_node("Pay", ["<=50K", ">50K"]).states
        ['s50K', 's50K_2']
        >>> net["Pay"].labels, net["Pay"].state(">50K")
        (['<=50K', '>50K'], 1)
        """
        if kind not in KINDS:
            raise unknown("kind of nodes", kind, KINDS)
        legal = legal_name(name, _Names(self))
        count = 0 if states is None else states if isinstance(states, int) else len(states)
        with self.change():
            node = Node(self, self._core.new_node(legal, count))
            if legal != name:
                node.label = name
            if states is not None and not isinstance(states, int):
                node.states = states
            if levels is not None:
                node.levels = levels
            if kind != "nature":
                node.kind = kind
            for key in self._keys(parents):
                self._core.add_link(key, node._key)
            if table is not None:
                node.table = table
            if title:
                node.title = title
            if comment:
                node.comment = comment
        return node

    def add_link(self, parent: Node | str, child: Node | str) -> None:
        """Draws a link; see :meth:`Node.add_parent`."""
        self._core.add_link(self._key(parent), self._key(child))

    def delete(self, *nodes: Node | str) -> None:
        """Deletes nodes: one change for undo."""
        with self.change():
            for key in [self._key(node) for node in nodes]:
                self._core.delete_node(key)

    def absorb(self, *nodes: Node | str) -> None:
        """Takes nodes out so that what remains keeps its meaning: nature nodes are summed out, decisions maximized."""
        self._core.absorb([self._key(node) for node in nodes])

    def add_copies(self, nodes: Iterable[Node]) -> list[Node]:
        """Copies nodes of this net or another one, without findings, and answers the copies."""
        originals = list(nodes)
        if not originals:
            return []
        source = originals[0].net
        keys = source._core.duplicate([source._key(node) for node in originals], self._core)
        return [Node(self, key) for key in keys]

    # ---- changes ----

    @contextmanager
    def change(self) -> Iterator[None]:
        """Makes one step for undo of what is changed within; an exception takes all of it back."""
        with self._lock:
            self._core.begin_changes()
            try:
                yield
            except BaseException:
                if not self._core.is_free():
                    self._core.end_changes(False)
                raise
            self._core.end_changes(True)

    def undo(self) -> bool:
        """Takes the last change back; answers False where there is none to be taken back.

        Nodes that go and come back by undo and redo are to be asked for anew.
        """
        return self._core.undo()

    def redo(self) -> bool:
        """Makes what was undone again."""
        return self._core.redo()

    def free(self) -> None:
        """Frees the net now. Whatever refers to it is refused from then on."""
        self._core.free()

    # ---- findings ----

    def enter(self, findings: Mapping[Any, Finding] | None = None, /, **by_name: Finding) -> None:
        """Enters what was found, of any number of nodes: all of it, or nothing where something is refused.

        A finding is a state (name or number), a likelihood for each state (a dict, in which absent states have 0, or an
        array), or a value (a float). Findings add up: what contradicts those there are is refused, so that another state
        of a node takes :meth:`retract` first.
        """
        entered = [*(findings or {}).items(), *by_name.items()]
        if len(entered) == 1:
            Node(self, self._key(entered[0][0])).enter(entered[0][1])
        elif entered:
            with self.change():
                for node, finding in entered:
                    Node(self, self._key(node)).enter(finding)

    def exclude(self, node: Node | str, state: State) -> None:
        """Enters that the node is not in that state."""
        Node(self, self._key(node)).exclude(state)

    def retract(self, *nodes: Node | str) -> None:
        """Takes back the findings of these nodes; of all nodes where none is named."""
        if not nodes:
            self._core.retract_all()
        elif len(nodes) == 1:
            self._core.retract(self._key(nodes[0]))
        else:
            with self.change():
                for key in [self._key(node) for node in nodes]:
                    self._core.retract(key)

    @property
    def findings(self) -> dict[str, Any]:
        """What was found: node -> state, value, or likelihoods."""
        return {node.name: node.finding for node in self._found()}

    def _found(self) -> list[Node]:
        return [Node(self, key) for key in self._core.found()]

    @contextmanager
    def given(self, findings: Mapping[Any, Finding] | None = None, /, **by_name: Finding) -> Iterator[Net]:
        """Findings for a while, in place of those of the same nodes; afterwards all findings are as they were.

        >>> import bravic
        >>> net = bravic.Net()
        >>> coin = net.add_node("Coin", ["heads", "tails"], table=[0.5, 0.5])
        >>> with net.given(Coin="heads"):
        ...     print(net.probability)
        0.5
        >>> net.findings
        {}
        """
        before = [(node, node._core.finding(node._key), node._core.value(node._key), node.likelihood)
                  for node in self._found()]
        entered = {**(findings or {}), **by_name}
        named = [Node(self, self._key(node)) for node in entered]
        with self.change():
            for node in named:
                node.retract()
            self.enter(entered)
        try:
            yield self
        finally:
            if not self._core.is_free():
                self._restore(before)

    def _restore(self, before: list[tuple[Node, int, float | None, npt.NDArray[np.float32]]]) -> None:
        with self.change():
            self.retract()
            for node, code, value, likelihood in before:
                if not node.is_alive or len(node) != len(likelihood):
                    continue
                if value is not None and not node.is_discrete:
                    self._core.enter_value(node._key, value)
                elif code >= 0:
                    self._core.enter_state(node._key, code)
                elif code != NO_FINDING:
                    self._core.enter_likelihood(node._key, likelihood)

    # ---- files ----

    def save(self, path: Union[str, os.PathLike[str]], format: str | None = None) -> None:
        """Writes the net into a file, which is replaced only once all is written.

        format: "dne" (Bravic's own), "bif", "xmlbif", "net", "uai" or "xdsl"; None for what the extension tells. What
        the format cannot hold is warned of.
        """
        self._core.save(os.fspath(path), _format(format))

    def write(self, format: str = "dne") -> bytes:
        """The net as a file of that format would have it."""
        return self._core.write_text(_format(format))

    def __reduce__(self) -> tuple[Any, ...]:
        return _unpickle, (type(self), self._core.write_text("dne"))

    def copy(self) -> Net:
        """A net of its own that says the same, findings included."""
        return _unpickle(type(self), self._core.write_text("dne"))

    def __copy__(self) -> Net:
        return self.copy()

    def __deepcopy__(self, memo: dict[int, Any]) -> Net:
        return self.copy()

    # ---- shown ----

    def svg(self, beliefs: bool = True) -> str:
        """The net as a picture: boxes with states and beliefs, and links. Laid out by Graphviz where that is there."""
        from ._svg import draw

        return draw(self, beliefs)

    def explore(self, path: Union[str, os.PathLike[str]], show: bool = False) -> Path:
        """Writes a page in which the net is explored: drawn with its beliefs, which follow when states are pressed.

        The page needs nothing but itself: it can be sent and opened anywhere. It starts with the findings entered here.
        show: opens it in the browser. Answers where it is.
        """
        from ._page import write_page

        return write_page(self, path, show)

    def _repr_html_(self) -> str:
        from ._html import picture

        return picture(self)

    def __repr__(self) -> str:
        try:
            found = len(self._core.found())
            findings = f", {found} finding{'s' * (found != 1)}" if found else ""
            return f"<Net {self.name}: {len(self)} nodes{findings}>"
        except Error:
            return "<Net that was freed>"


class _Names:
    """The names in use, looked at where they are asked for."""

    def __init__(self, net: Net) -> None:
        self._net = net

    def __contains__(self, name: object) -> bool:
        return any(node.name == name for node in self._net.nodes)


def _format(format: str | None) -> str:
    if format is not None and format not in FORMATS:
        raise unknown("format", format, FORMATS)
    return format or ""


def _unpickle(cls: type[Net], text: bytes) -> Net:
    return cls._of(_bravic.read_text(text, "dne", ""))


def read(path: Union[str, os.PathLike[str]], format: str | None = None) -> Net:
    """Reads a net from a file of any format: what the content tells, or the one named."""
    return Net._of(_bravic.read(os.fspath(path), _format(format)))


def read_text(text: str | bytes, format: str | None = None, name: str = "") -> Net:
    """Reads a net from a text.

    >>> import bravic
    >>> net = bravic.read_text(bravic.Net("Empty").write())
    >>> net.name, len(net)
    ('Empty', 0)
    """
    data = text.encode("utf-8", "surrogateescape") if isinstance(text, str) else bytes(text)
    return Net._of(_bravic.read_text(data, _format(format), name))
