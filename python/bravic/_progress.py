"""How far long operations have come: a bar of tqdm's where that is installed and somebody looks on."""

from __future__ import annotations

import sys
from collections.abc import Callable
from importlib import import_module
from importlib.util import find_spec
from typing import Any, Union

from . import _bravic

Listener = Callable[[str, float, float], object]


class _Bar:
    """Begins with the first word of an operation that takes long, and ends with it."""

    def __init__(self) -> None:
        self._bar: Any = None

    def __call__(self, what: str | None, done: float, seconds: float) -> bool:
        if what is None:
            if self._bar is not None:
                self._bar.close()
            self._bar = None
            return False
        if self._bar is None:
            tqdm: Any = import_module("tqdm.auto")
            self._bar = tqdm.tqdm(total=100, desc=what, unit="%", leave=False, delay=0.5,
                             bar_format="{l_bar}{bar}| {elapsed}<{remaining}")
        self._bar.set_description(what, refresh=False)
        self._bar.update(max(0.0, min(100.0, 100 * done) - self._bar.n))
        return False


class _Told:
    """A listener of the caller's, who is not told of the end."""

    def __init__(self, listener: Listener) -> None:
        self._listener = listener

    def __call__(self, what: str | None, done: float, seconds: float) -> bool:
        return what is not None and bool(self._listener(what, done, seconds))


def _somebody_looks_on() -> bool:
    if "ipykernel" in sys.modules:
        return True
    try:
        return sys.stderr is not None and sys.stderr.isatty()
    except ValueError:
        return False


def set_progress(listener: Union[Listener, bool, None] = None) -> None:
    """Who is told of the progress of long operations.

    None: a bar, where tqdm is installed and the output goes to a terminal or a notebook (at the start); True: a bar;
    False: nobody; a function: it is called at least once a second with what is done, the share done and how many seconds
    it will take in all (0 where unknown); it halts the operation by answering True.
    """
    if callable(listener):
        _bravic.set_listener(_Told(listener))
        return
    wanted = _somebody_looks_on() if listener is None else listener
    _bravic.set_listener(_Bar() if wanted and find_spec("tqdm") else None)


set_progress()
