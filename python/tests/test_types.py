"""The types that the package says it has, and the README's lines."""

from __future__ import annotations

import importlib.metadata
import pathlib
import re
import shutil
import subprocess
import sys

import bravic
import pytest
from conftest import EXAMPLES, ROOT

EXAMPLE = '''
import bravic
import numpy as np

net: bravic.Net = bravic.read("alarm.bif")
with net.given({"A": "yes", net["B"]: [0.5, 0.5]}, C=1) as same:
    belief: float = same.beliefs()["A"]["yes"]
    joint: np.ndarray[tuple[int, ...], np.dtype[np.float64]] = net.joint(["A", net["B"]])
names: list[str] = [node.name for node in net if node.is_alive]
parents: list[bravic.Node | None] = net["A"].parents
best: bravic.Sensitivity = net.sensitivity("A", 0)[0]
text: bytes = net.write("bif")
net["A"].table = np.ones((2, 2)) / 2
'''
MISTAKES = ['bravic.read(7)', 'net.enter(A=object())', 'net["A"].name = 7', 'net.beliefs()["A"] + 1', "net.undoo()"]


def test_mypy_agrees(tmp_path: pathlib.Path) -> None:
    pytest.importorskip("mypy")
    example = tmp_path / "example.py"
    example.write_text(EXAMPLE + "\n".join(MISTAKES))
    mypy = [sys.executable, "-m", "mypy", "--strict", "--no-color-output", "--cache-dir", str(tmp_path / "cache")]
    whole = subprocess.run([*mypy, "-p", "bravic"], capture_output=True, text=True, cwd=tmp_path)
    assert whole.returncode == 0, whole.stdout
    mistakes = subprocess.run([*mypy, str(example)], capture_output=True, text=True, cwd=tmp_path).stdout
    lines = [int(line) for line in re.findall(r"example.py:(\d+): error", mistakes)]
    first = EXAMPLE.count("\n") + 1
    assert sorted(set(lines)) == list(range(first, first + len(MISTAKES))), mistakes


def test_stubs_name_what_there_is() -> None:
    stub = (pathlib.Path(bravic.__file__).parent / "_bravic.pyi").read_text()
    for part in stub.split("\nclass ")[1:]:
        said = set(re.findall(r"^    def ([a-z]\w*)", part, re.M))
        there = getattr(bravic._bravic, part.split(":")[0])
        assert said == {name for name in dir(there) if not name.startswith("_")}
    functions = set(re.findall(r"^def (\w+)", stub, re.M)) | {"Counts", "Net"}
    assert functions == {name for name in dir(bravic._bravic) if not name.startswith("_")}


def test_the_readme_runs_as_written(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch,
                                   capsys: pytest.CaptureFixture[str]) -> None:
    readme = (ROOT / "README.md").read_text()
    blocks = re.findall(r"```python\n(.*?)```", readme, re.S)
    assert blocks, "the README has Python lines"
    monkeypatch.chdir(tmp_path)
    shutil.copytree(EXAMPLES, tmp_path / "examples" / "nets")
    names: dict[str, object] = {}
    for block in blocks:
        exec(compile(block, "README.md", "exec"), names)
    said = [float(value) for value in re.findall(r"# (\d\.\d+)$", "\n".join(blocks), re.M)]
    printed = [float(line) for line in capsys.readouterr().out.splitlines() if re.fullmatch(r"\d\.\d+", line)]
    assert len(said) == 2 and printed == pytest.approx(said, abs=1e-4)


def test_the_version_is_the_librarys() -> None:
    assert bravic.__version__ == importlib.metadata.version("bravic")
    # The interface's version stays where packages of later versions keep it.
    assert bravic.__version__.split(".")[0] == str(bravic._bravic.version() // 100)
