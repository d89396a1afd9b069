"""Belief networks and decision networks: exact beliefs, the questions that follow from them, decisions, learning.

>>> import bravic
>>> net = bravic.Net("Lawn")
>>> rain = net.add_node("Rain", ["yes", "no"], table=[0.2, 0.8])
>>> grass = net.add_node("Grass", ["wet", "dry"], parents=[rain], table=[[0.9, 0.1], [0.2, 0.8]])
>>> with net.given(Grass="wet"):
...     print(net["Rain"].beliefs[0].round(4))
0.5294
"""

from __future__ import annotations

from . import _errors  # first: the compiled module looks for it
from ._errors import BravicWarning, Error, UnknownName
from . import _bravic
from ._learning import Counts
from ._net import Net, read, read_text
from ._node import Node
from ._progress import set_progress
from ._questions import Configuration, Explanation, Sensitivity
from ._structure import discretize, learn_structure

__version__ = _bravic.__version__
__all__ = [
    "BravicWarning",
    "Configuration",
    "Counts",
    "Error",
    "Explanation",
    "Net",
    "Node",
    "Sensitivity",
    "UnknownName",
    "discretize",
    "learn_structure",
    "read",
    "read_text",
    "seed",
    "set_progress",
    "set_threads",
]


def seed(number: int) -> None:
    """Makes random draws reproducible; 0 takes the time."""
    _bravic.seed(number)


def set_threads(number: int) -> int:
    """How many threads one call may use where it can use several: 1 at the start, 0 for as many as there are processors,
    -1 only asks. Answers the setting before. Answers of other functions do not depend on it."""
    return _bravic.set_threads(number)
