"""Nodes of a net."""

from __future__ import annotations

import re
from collections.abc import Container, Mapping, Sequence
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from ._errors import Error, unknown

if TYPE_CHECKING:
    from ._net import Net

KINDS = ("nature", "constant", "decision", "utility", "disconnected", "adversary")
NATURE, DECISION, UTILITY = 0, 2, 3
NO_FINDING, SOME_EXCLUDED, LIKELIHOOD = -8, -7, -6
_LEGAL = re.compile(r"[A-Za-z][A-Za-z0-9_]{0,29}\Z")

Floats = npt.NDArray[np.float32]
Doubles = npt.NDArray[np.float64]
State = Union[str, int, bool, np.integer[Any]]
Finding = Union[State, float, Mapping[Any, float], Sequence[float], npt.NDArray[Any]]


def legal_name(name: str, used: Container[str] = (), letter: str = "n") -> str:
    """A name that a net takes, made from any text by the rule of docs/formats.md.

    >>> legal_name("Value >= 5.5 (high)"), legal_name("1", (), "s"), legal_name("A?", {"A"})
    ('Value_5_5_high', 's1', 'A_2')
    """
    if _LEGAL.match(name):
        return name
    name = re.sub(r"[^A-Za-z0-9_]+", "_", name).strip("_")
    name = (name if _LEGAL.match(name[:1]) else letter + name)[:30]
    plain, number = name, 1
    while name in used:
        number += 1
        ending = f"_{number}"
        name = plain[: 30 - len(ending)] + ending
    return name


def legal_states(names: Sequence[str]) -> list[str]:
    """The names of a node's states; legal ones are taken before others are made."""
    used = {name for name in names if _LEGAL.match(name)}
    legal: list[str] = []
    for name in names:
        legal.append(legal_name(name, used, "s"))
        used.add(legal[-1])
    return legal


class Node:
    """A variable of a net. Ask the net for it: ``net["Rain"]``.

    A node that was deleted, or whose addition was undone, is refused by everything with an :class:`Error`; so is every
    node of a net that was freed.
    """

    __slots__ = ("_core", "_key", "_net")

    def __init__(self, net: Net, key: int) -> None:
        self._net = net
        self._core = net._core
        self._key = key

    # ---- what it is ----

    @property
    def net(self) -> Net:
        """The net that the node belongs to."""
        return self._net

    @property
    def is_alive(self) -> bool:
        """Whether the node still is in its net."""
        return self._core.is_alive(self._key)

    @property
    def name(self) -> str:
        """Up to 30 letters, digits and underscores, unlike those of the net's other nodes."""
        return self._core.node_name(self._key)

    @name.setter
    def name(self, name: str) -> None:
        self._core.set_node_name(self._key, name)

    @property
    def label(self) -> str:
        """The node's name as another program or a data set spells it; its name, where that is the same."""
        return self._core.node_text(self._key, "label") or self.name

    @label.setter
    def label(self, label: str) -> None:
        self._core.set_node_text(self._key, "label", label)

    @property
    def title(self) -> str:
        """A name for people; any text."""
        return self._core.node_title(self._key)

    @title.setter
    def title(self, title: str) -> None:
        self._core.set_node_title(self._key, title)

    @property
    def comment(self) -> str:
        """Any text."""
        return self._core.node_comment(self._key)

    @comment.setter
    def comment(self, comment: str) -> None:
        self._core.set_node_comment(self._key, comment)

    @property
    def position(self) -> tuple[float, float] | None:
        """Where the node stands in a picture, in points, if anybody has said so."""
        try:
            x, y = map(float, self._core.node_text(self._key, "position").split())
        except ValueError:
            return None
        return (x, y) if np.isfinite(x) and np.isfinite(y) else None

    @position.setter
    def position(self, position: tuple[float, float] | None) -> None:
        text = "" if position is None else f"{position[0]:g} {position[1]:g}"
        self._core.set_node_text(self._key, "position", text)

    @property
    def kind(self) -> str:
        """"nature", "decision", "utility", "constant" or "adversary"."""
        kind = self._core.kind(self._key)
        return KINDS[kind] if 0 <= kind < len(KINDS) else "unknown"

    @kind.setter
    def kind(self, kind: str) -> None:
        if kind not in KINDS:
            raise unknown("kind of nodes", kind, KINDS)
        self._core.set_kind(self._key, KINDS.index(kind))

    @property
    def is_discrete(self) -> bool:
        """False for a continuous node, with intervals for states or without."""
        return self._core.is_discrete(self._key)

    # ---- states ----

    @property
    def states(self) -> list[str]:
        """The names of the states; a state without a name has its number."""
        return [name or str(i) for i, name in enumerate(self._core.state_names(self._key))]

    @states.setter
    def states(self, names: Sequence[str]) -> None:
        if len(names) != len(self):
            raise ValueError(f"{len(names)} names for {len(self)} states")
        legal = legal_states([str(name) for name in names])
        with self._net.change():
            self._core.set_state_names(self._key, legal)
            for i, (name, spelling) in enumerate(zip(legal, map(str, names))):
                self._core.set_node_text(self._key, f"state {i}", "" if name == spelling else spelling)

    @property
    def labels(self) -> list[str]:
        """The states as another program or a data set spells them."""
        return [self._core.node_text(self._key, f"state {i}") or name for i, name in enumerate(self.states)]

    def __len__(self) -> int:
        return self._core.num_states(self._key)

    def __bool__(self) -> bool:
        return True

    @property
    def levels(self) -> list[float]:
        """The numbers that states stand for; of a continuous node the bounds of its intervals, one more than states.

        Setting the bounds of a continuous node sets its intervals; an empty list takes the levels away.
        """
        return self._core.levels(self._key)

    @levels.setter
    def levels(self, levels: Sequence[float]) -> None:
        numbers = [float(level) for level in levels]
        count = len(self) if self.is_discrete else max(len(numbers) - 1, 0)
        self._core.set_levels(self._key, count, numbers)

    def state(self, state: State) -> int:
        """The number of a state, of which the name, another program's spelling or the number is given."""
        if isinstance(state, str):
            number = self._core.find_state(self._key, state)
            if number >= 0:
                return number
            if state.isdecimal() and int(state) < len(self) and self.states[int(state)] == state:
                return int(state)
        elif isinstance(state, (bool, np.bool_)):
            for number, name in enumerate(self.labels):
                if name.lower() in (("false", "no"), ("true", "yes"))[bool(state)]:
                    return number
        elif isinstance(state, (int, np.integer)):
            number = int(state)
            if 0 <= number < len(self):
                return number
            raise Error(5106, 5, f"node {self.name!r} has no state {number}: it has {len(self)}, from 0")
        raise unknown(f"state of node {self.name!r}:", state, dict.fromkeys(self.states + self.labels))

    # ---- links ----

    @property
    def parents(self) -> list[Node | None]:
        """The nodes that this one depends on, in the order of its table; None keeps the place of one that was deleted."""
        return [Node(self._net, key) if key >= 0 else None for key in self._core.parents(self._key)]

    @property
    def children(self) -> list[Node]:
        """The nodes that depend on this one."""
        return [Node(self._net, key) for key in self._core.children(self._key)]

    @property
    def blanket(self) -> list[Node]:
        """The nodes that separate this one from all others: parents, children and their other parents."""
        return [Node(self._net, key) for key in self._core.blanket(self._key)]

    def add_parent(self, parent: Node | str) -> None:
        """Draws a link. The table keeps its entries, the same for every state of the new parent."""
        self._core.add_link(self._net._key(parent), self._key)

    def remove_parent(self, parent: Node | str | int) -> None:
        """Takes a link away, told by the parent or its place."""
        self._core.delete_link(self._place(parent), self._key)

    def replace_parent(self, old: Node | str | int, new: Node | str) -> None:
        """Puts another node of as many states in a parent's place; the table stays."""
        self._core.switch_parent(self._place(old), self._key, self._net._key(new))

    def reverse_link(self, parent: Node | str) -> None:
        """Turns the link from the parent around, so that the net says the same as before."""
        self._core.reverse_link(self._net._key(parent), self._key)

    def _place(self, parent: Node | str | int) -> int:
        if isinstance(parent, int):
            return parent
        key = self._net._key(parent)
        keys = self._core.parents(self._key)
        if key not in keys:
            raise Error(5109, 5, f"{self._core.node_name(key)!r} is no parent of {self.name!r}")
        return keys.index(key)

    # ---- tables ----

    @property
    def _has_numbers(self) -> bool:
        """Whether the table is of a function: of utility nodes, decisions, and where there are no states."""
        return self._core.kind(self._key) in (DECISION, UTILITY) or len(self) == 0

    @property
    def table(self) -> npt.NDArray[Any] | None:
        """The table, a copy: of probabilities [parents' states ..., own states]; None where there is none.

        Entries below 0 are not given yet, or belong to a configuration that cannot occur. Of utility nodes, decisions
        and continuous nodes without intervals it is :attr:`function`.
        """
        if self._has_numbers:
            return self.function
        probs = np.empty([*self._core.parent_sizes(self._key), len(self)], np.float32)
        return probs if self._core.get_probs(self._key, probs) else None

    @table.setter
    def table(self, table: npt.ArrayLike | None) -> None:
        if table is None:
            self._core.delete_table(self._key)
            return
        if self._has_numbers:
            self.function = np.asarray(table)
            return
        shape = [*self._core.parent_sizes(self._key), len(self)]
        self._core.set_probs(self._key, _shaped(table, shape, np.float32, self.name))

    @property
    def function(self) -> Doubles | None:
        """The value, or the number of the state, for each configuration of the parents; NaN where it is not said."""
        values = np.empty(self._core.parent_sizes(self._key), np.float64)
        return values if self._core.get_function(self._key, values) else None

    @function.setter
    def function(self, values: npt.ArrayLike) -> None:
        shape = self._core.parent_sizes(self._key)
        self._core.set_function(self._key, _shaped(values, shape, np.float64, self.name))

    @property
    def experience(self) -> Doubles | None:
        """How many cases each row of the table stands for; NaN where nobody has said."""
        values = np.empty(self._core.parent_sizes(self._key), np.float64)
        return values if self._core.get_experience(self._key, values) else None

    @experience.setter
    def experience(self, values: npt.ArrayLike) -> None:
        shape = self._core.parent_sizes(self._key)
        numbers = np.broadcast_to(np.asarray(values, np.float64), shape)
        self._core.set_experience(self._key, np.ascontiguousarray(numbers))

    @property
    def has_table(self) -> bool:
        """Whether there is a table of any kind."""
        return self._core.has_table(self._key)

    @property
    def is_deterministic(self) -> bool:
        """Whether the state follows from the parents' states."""
        return self._core.is_deterministic(self._key)

    def fade(self, degree: float) -> None:
        """Forgets some (0: nothing, 1: all) of what was learned."""
        self._core.fade(self._key, degree)

    # ---- findings and beliefs ----

    @property
    def beliefs(self) -> Floats:
        """The probabilities of the states given all findings, as an array of the caller's own.

        >>> import bravic
        >>> net = bravic.Net("Coin")
        >>> net.add_node("Side", ["heads", "tails"], table=[0.5, 0.5]).beliefs
        array([0.5, 0.5], dtype=float32)
        """
        beliefs = np.empty(self._core.num_states(self._key), np.float32)
        self._core.beliefs(self._key, beliefs)
        return beliefs

    @property
    def finding(self) -> str | float | Floats | None:
        """What was found: the name of a state, a value, or the likelihoods of the states; None for nothing."""
        code = self._core.finding(self._key)
        if code >= 0 and self.is_discrete:
            return self.states[code]
        value = self._core.value(self._key)
        if value is not None:
            return value
        return self.states[code] if code >= 0 else self.likelihood if code != NO_FINDING else None

    @property
    def likelihood(self) -> Floats:
        """How probable what was found is in each state; all 1 where nothing was."""
        likelihood = np.empty(len(self), np.float32)
        self._core.likelihood(self._key, likelihood)
        return likelihood

    def enter(self, finding: Finding) -> None:
        """Enters what was found: see :meth:`Net.enter`."""
        if isinstance(finding, (str, int, np.integer, np.bool_)):
            self._core.enter_state(self._key, self.state(finding))
        elif isinstance(finding, (float, np.floating)):
            self._core.enter_value(self._key, float(finding))
        else:
            weights = np.zeros(len(self), np.float32)
            if isinstance(finding, Mapping):
                for state, weight in finding.items():
                    weights[self.state(state)] = weight
            else:
                weights[:] = _shaped(finding, [len(self)], np.float32, self.name)
            self._core.enter_likelihood(self._key, weights)

    def exclude(self, state: State) -> None:
        """Enters that the node is not in that state."""
        self._core.enter_not(self._key, self.state(state))

    def retract(self) -> None:
        """Takes back all findings of the node."""
        self._core.retract(self._key)

    def delete(self) -> None:
        """Takes the node out of its net; its children keep their tables, with a placeholder in its place."""
        self._core.delete_node(self._key)

    # ---- Python ----

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Node) and self._core is other._core and self._key == other._key

    def __hash__(self) -> int:
        return hash((id(self._core), self._key))

    def __repr__(self) -> str:
        try:
            states = self.states
            shown = ", ".join(states[:6]) + (", ..." if len(states) > 6 else "")
            kind = "" if self.kind == "nature" else f" ({self.kind})"
            return f"<Node {self.name}{kind}: {shown or 'no states'}>"
        except Error:
            return "<Node that is no longer in its net>"

    def __reduce__(self) -> tuple[Any, ...]:
        return _node_of, (self._net, self.name)

    def _repr_html_(self) -> str:
        from ._html import node_table

        return node_table(self)


def _node_of(net: Net, name: str) -> Node:
    return net[name]


def _shaped(table: object, shape: Sequence[int], dtype: type[Any], name: str) -> npt.NDArray[Any]:
    """The numbers without gaps, in that shape or in one line."""
    array = np.ascontiguousarray(np.asarray(table, dtype))
    if array.shape != tuple(shape) and not (array.ndim == 1 and array.size == np.prod(shape, dtype=float)):
        raise ValueError(f"the table of node {name!r} has the shape {tuple(shape)}, not {array.shape}")
    return array
