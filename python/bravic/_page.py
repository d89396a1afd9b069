"""A net as one page that opens anywhere: the explorer, which stands beside this module, with the net inside."""

from __future__ import annotations

import codecs
import json
import os
import webbrowser
from importlib import resources
from pathlib import Path
from typing import TYPE_CHECKING, Union

from ._errors import Error

if TYPE_CHECKING:
    from ._net import Net

PLACE = '<script type="application/json" id="net">'
EMPTY = PLACE + "null"


def _as_latin1(error: UnicodeError) -> tuple[str, int]:
    """Bytes that are not UTF-8 are taken as Latin 1."""
    assert isinstance(error, UnicodeDecodeError)
    return error.object[error.start : error.end].decode("latin-1"), error.end


codecs.register_error("bravic.latin1", _as_latin1)


def page(net: Net) -> str:
    """The page. Nothing in the net's text ends or begins an element of it."""
    text = net.write("dne").decode("utf-8", "bravic.latin1")
    inside = json.dumps({"name": net.title or net.name, "format": "dne", "text": text})
    for sign in "<>&":
        inside = inside.replace(sign, f"\\u{ord(sign):04x}")
    before, place, after = _template().partition(EMPTY)
    if not place:
        raise Error(0, 5, "the package's explorer.html has no place for a net")
    return f"{before}{PLACE}{inside}{after}"


def _template() -> str:
    return resources.files("bravic").joinpath("explorer.html").read_text(encoding="utf-8")


def write_page(net: Net, path: Union[str, os.PathLike[str]], show: bool) -> Path:
    target = Path(os.path.abspath(os.fspath(path)))
    target.write_text(page(net), encoding="utf-8")
    if show:
        webbrowser.open(target.as_uri())
    return target
