"""Tables of cases, as pandas, polars, numpy and Python have them, into numbers of states and back.

Neither pandas nor polars is needed, and neither is imported before a frame of its own comes along.
"""

from __future__ import annotations

import math
import sys
from collections.abc import Mapping, Sequence
from importlib import import_module
from importlib.util import find_spec
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from . import _bravic
from ._errors import Error, UnknownName

if TYPE_CHECKING:
    from ._node import Node

MISSING = -3  # UNDEF_STATE
FEW, BLOCK = 4096, 2048
_MISSING_TEXTS = ("", "*")
_MISSING_UNLESS_NAMES = ("?", "NA")

States = npt.NDArray[np.int32]


def kind_of(data: Any) -> str:
    """"pandas", "polars", "arrow", "dict" (of columns) or "rows" (a list of dicts)."""
    arrow = sys.modules.get("pyarrow")
    if arrow is not None and isinstance(data, (arrow.Table, arrow.RecordBatch)):
        return "arrow"
    for kind in ("pandas", "polars"):
        module = sys.modules.get(kind)
        if module is not None and isinstance(data, getattr(module, "DataFrame", ())):
            return kind
    if isinstance(data, Mapping):
        return "dict"
    if isinstance(data, Sequence) and all(isinstance(row, Mapping) for row in data):
        return "rows"
    wanted = "a frame of pandas or polars, a table of Arrow, a dict of columns, or a list of dicts"
    raise TypeError(f"a table of cases is {wanted}, not of type {type(data).__name__!r}")


def columns_of(data: Any) -> tuple[dict[str, Any], int]:
    """The columns by name, and how many rows they have."""
    kind = kind_of(data)
    if kind == "rows":
        names = dict.fromkeys(name for row in data for name in row)
        return {str(name): [row.get(name) for row in data] for name in names}, len(data)
    if kind == "dict":
        columns = {str(name): column if hasattr(column, "__len__") else list(column) for name, column in data.items()}
        lengths = {name: len(column) for name, column in columns.items()}
        if len(set(lengths.values())) > 1:
            raise ValueError(f"columns of different lengths: {lengths}")
        return columns, next(iter(lengths.values()), 0)
    if kind == "arrow":
        return dict(zip(data.schema.names, data.columns)), data.num_rows
    if kind == "pandas":
        if not data.columns.is_unique:
            raise ValueError("two columns of the frame have one name")
        return {str(name): data[name] for name in data.columns}, len(data)
    return {name: data[name] for name in data.columns}, data.height


def is_missing(value: Any) -> bool:
    return value is None or (isinstance(value, (float, np.floating)) and math.isnan(value)) or type(value).__name__ in (
        "NAType", "NaTType")


class _Codes(dict[Any, int]):
    """The state of each value, looked up when it is first met."""

    def __init__(self, node: Node) -> None:
        super().__init__()
        self.node = node
        self.bounds = [] if node.is_discrete else node.levels
        self.levels = node.levels if node.is_discrete else []

    def __missing__(self, value: Any) -> int:
        code = self[value] = self.code(value)
        return code

    def code(self, value: Any) -> int:
        if is_missing(value):
            return MISSING
        if isinstance(value, str):
            try:
                return self.node.state(value)
            except UnknownName:
                if value in _MISSING_TEXTS or value in _MISSING_UNLESS_NAMES:
                    return MISSING
                number = _number(value)
                if number is None or not (self.bounds or self.levels):
                    raise
                return self.of_number(number)
        if isinstance(value, (bool, np.bool_)):
            return self.node.state(bool(value))
        if isinstance(value, (int, float, np.integer, np.floating)):
            return self.of_number(float(value))
        return self.node.state(str(value))

    def of_number(self, number: float) -> int:
        """By interval, else by level, else by name ("1"), else the state's own number."""
        if self.bounds:
            if not self.bounds[0] <= number <= self.bounds[-1]:
                raise Error(3308, 5, f"{number:g} is outside the intervals of node {self.node.name!r}")
            found = int(np.searchsorted(self.bounds, number, side="right")) - 1
            return min(found, len(self.bounds) - 2)
        if self.levels:
            near = int(np.argmin(np.abs(np.asarray(self.levels) - number)))
            if math.isclose(self.levels[near], number, rel_tol=1e-6, abs_tol=1e-9):
                return near
            raise Error(3314, 5, f"{number:g} is no level of node {self.node.name!r}")
        whole = number == int(number) if math.isfinite(number) else False
        for spelling in (f"{int(number)}", repr(number)) if whole else (repr(number),):
            code = self.node._core.find_state(self.node._key, spelling)
            if code >= 0:
                return code
        if whole:
            return self.node.state(int(number))
        return self.node.state(repr(number))


def _number(text: str) -> float | None:
    try:
        return float(text)
    except ValueError:
        return None


def encode(column: Any, node: Node, out: States) -> None:
    """The states of a column, into a place of that length."""
    codes = _Codes(node)
    try:
        _encode(column, codes, out)
    except Error as error:
        _say_where(column, codes, error)
        raise


def _encode(column: Any, codes: _Codes, out: States) -> None:
    categories = getattr(getattr(column, "cat", None), "categories", None)
    if categories is not None and hasattr(column.cat, "codes"):  # pandas
        present = np.asarray(column.cat.codes, np.intp)
        used = np.bincount(present + 1, minlength=len(categories) + 1)[1:]
        table = [codes[c] if used[i] else MISSING for i, c in enumerate(categories)]
        out[:] = np.array([*table, MISSING], np.int32)[present]
        return
    dtype = getattr(column, "dtype", None)
    if getattr(dtype, "storage", None) == "pyarrow":  # texts of pandas
        column = import_module("pyarrow").array(column.array)
    if hasattr(column, "dictionary_encode"):  # Arrow
        chunks = column.chunks if hasattr(column, "chunks") else [column]
        places = np.cumsum([0, *(len(chunk) for chunk in chunks)])
        for chunk, start in zip(chunks, places):
            coded = chunk.dictionary_encode()
            table = [codes[value] for value in coded.dictionary.to_pylist()]
            chunk_codes = coded.indices.fill_null(len(table)).to_numpy(zero_copy_only=False)
            out[start : start + len(chunk)] = np.array([*table, MISSING], np.int32)[chunk_codes]
        return
    if isinstance(dtype, np.dtype) and dtype.kind in "iub":
        _encode_whole(np.asarray(column), codes, out)
        return
    if hasattr(column, "to_physical") and column.dtype in _texts_of_polars():
        _encode_polars(column, codes, out)
        return
    _bravic.encode_objects(_objects(column), codes, out)


def _texts_of_polars() -> tuple[Any, ...]:
    polars: Any = import_module("polars")
    return polars.String, polars.Categorical, polars.Enum


def _encode_polars(column: Any, codes: _Codes, out: States) -> None:
    polars: Any = import_module("polars")
    different = column.unique().drop_nulls().cast(polars.String)
    places = column.cast(polars.Enum(different)).to_physical().cast(polars.Int64).fill_null(len(different))
    out[:] = np.array([*map(codes.__getitem__, different.to_list()), MISSING], np.int32)[places.to_numpy()]


def _objects(column: Any) -> Any:
    """A list, or an array of objects where they are."""
    if hasattr(column, "to_numpy") and not hasattr(column, "to_physical"):
        return np.ascontiguousarray(column.to_numpy(dtype=object))
    if isinstance(column, np.ndarray):
        return np.ascontiguousarray(column) if column.dtype == object else column.tolist()
    if isinstance(column, list):
        return column
    return column.to_list() if hasattr(column, "to_list") else list(column)


def _encode_whole(column: npt.NDArray[Any], codes: _Codes, out: States) -> None:
    """Of whole numbers, mostly few and small."""
    if len(column) and int(column.max()) - int(column.min()) < FEW:
        least = int(column.min())
        places = column.astype(np.int64) - least
        used = np.bincount(places)
        values = [bool(i + least) if column.dtype.kind == "b" else i + least for i in range(len(used))]
        out[:] = np.array([codes[v] if used[i] else MISSING for i, v in enumerate(values)], np.int32)[places]
    elif len(column):
        different, places = np.unique(column, return_inverse=True)
        out[:] = np.array([codes[v] for v in different], np.int32)[places.reshape(-1)]


def _say_where(column: Any, codes: _Codes, error: Error) -> None:
    """Adds the first row of a value that has no state."""
    values = column.to_pylist() if hasattr(column, "to_pylist") else (
        column.to_list() if hasattr(column, "to_list") else list(column))
    for row, value in enumerate(values):
        try:
            codes[value]
        except Error:
            error.message = f"row {row}: {error.message}"
            return


def matrix(data: Any, nodes: Mapping[str, Node], rows: int, columns: Mapping[str, Any]) -> States:
    """states [rows x nodes], this package's own memory, by column name."""
    by_node = np.empty((len(nodes), rows), np.int32)
    for out, (name, node) in zip(by_node, nodes.items()):
        encode(columns[name], node, out)
    states = np.empty((rows, len(nodes)), np.int32)
    for start in range(0, rows, BLOCK):  # as many as the cache holds
        states[start : start + BLOCK] = by_node[:, start : start + BLOCK].T
    return states


def frame_of(columns: Mapping[str, Any], kind: str, like: Any = None) -> Any:
    """A table of that kind; of pandas with the index of the one it belongs to."""
    if kind == "pandas":
        pandas: Any = import_module("pandas")
        index = like.index if kind_of_or_none(like) == "pandas" else None
        return pandas.DataFrame(dict(columns), index=index)
    if kind == "polars":
        polars: Any = import_module("polars")
        return polars.DataFrame(dict(columns))
    if kind == "arrow":
        arrow: Any = import_module("pyarrow")
        return arrow.table(dict(columns))
    if kind == "rows":
        lists = {name: list(column) for name, column in columns.items()}
        return [dict(zip(lists, row)) for row in zip(*lists.values())]
    return dict(columns)


def kind_of_or_none(data: Any) -> str | None:
    try:
        return kind_of(data)
    except TypeError:
        return None


def best_kind() -> str:
    """pandas where it is installed, else polars, else a dict of columns."""
    for kind in ("pandas", "polars"):
        if find_spec(kind):
            return kind
    return "dict"


def names_of(codes: npt.NDArray[np.int32], names: Sequence[str], kind: str) -> Any:
    """States by name; None (pandas: as a category) for those that are none."""
    if kind == "pandas":
        pandas: Any = import_module("pandas")
        return pandas.Categorical.from_codes(np.where(codes < 0, -1, codes), categories=list(names))
    table = np.array([*names, None], object)
    return table[np.where(codes < 0, len(names), codes)]
