"""What goes wrong in the library, as Python hears of it."""

from __future__ import annotations

import difflib
import logging
from collections.abc import Iterable


class Error(Exception):
    """A call of the library failed, and changed nothing unless its documentation says so.

    ``number`` is the error's number in docs/errors.md (0 for those of this package), ``danger`` 5, or 6 for an internal
    error; the text is the library's.
    """

    def __init__(self, number: int, danger: int, message: str) -> None:
        super().__init__(number, danger, message)
        self.number = number
        self.danger = danger
        self.message = message

    def __str__(self) -> str:
        return self.message


class UnknownName(Error, KeyError):
    """There is no node or state of that name."""


class BravicWarning(UserWarning):
    """Something was done, but perhaps not as it was meant."""


def log_notice(text: str) -> None:
    logging.getLogger("bravic").info(text)


def unknown(what: str, name: object, names: Iterable[str]) -> UnknownName:
    """The error that tells which names come near."""
    known = list(names)
    near = difflib.get_close_matches(str(name), known, 3)
    if not near:
        low = {known_name.lower(): known_name for known_name in known}
        near = [low[n] for n in difflib.get_close_matches(str(name).lower(), list(low), 3)]
    hint = f"; did you mean {' or '.join(map(repr, near))}?" if near else ""
    if not near and 0 < len(known) <= 10:
        hint = f"; there are {', '.join(map(repr, known))}"
    return UnknownName(0, 5, f"no {what} {name!r}{hint}")
