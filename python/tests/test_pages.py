"""What the pages in docs show of Python is what it does."""

import doctest
import re
from pathlib import Path

import pytest


ROOT = Path(__file__).resolve().parents[2]
PAGES = [page for page in sorted((ROOT / "docs").rglob("*.md")) if "```pycon" in page.read_text(encoding="utf-8")]


@pytest.mark.parametrize("page", PAGES, ids=lambda page: str(page.relative_to(ROOT / "docs")))
def test_page(page: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    monkeypatch.chdir(tmp_path)
    blocks = re.findall(r"^```pycon\n(.*?)^```$", page.read_text(encoding="utf-8"), re.M | re.S)
    flags = doctest.ELLIPSIS | doctest.IGNORE_EXCEPTION_DETAIL
    test = doctest.DocTestParser().get_doctest("".join(blocks), {}, page.name, str(page), 0)
    runner = doctest.DocTestRunner(optionflags=flags)
    said: list[str] = []
    runner.run(test, out=said.append)
    assert not runner.failures, "".join(said)
    assert runner.tries > 0


def test_pages_there_are() -> None:
    assert PAGES, "no page shows Python"
