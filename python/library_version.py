"""The package has the version of the library that it is built around: for scikit-build-core."""

from __future__ import annotations

import pathlib
import re
from collections.abc import Mapping
from typing import Any

HERE = pathlib.Path(__file__).resolve().parent


def dynamic_metadata(field: str, settings: Mapping[str, Any] | None = None, project: Mapping[str, Any] | None = None) -> str:
    # Within a source distribution the library stands beside this file.
    for folder in (HERE / "library", HERE.parent):
        if (folder / "CMakeLists.txt").exists():
            found = re.search(r"project\(.*?VERSION\s+([\d.]+)", (folder / "CMakeLists.txt").read_text(), re.S)
            if field == "version" and found:
                return found[1]
    raise RuntimeError("the library's CMakeLists.txt says no version")
