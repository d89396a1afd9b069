"""Makes notebooks of the gallery's sources, runs them, and shows them as pages.

    build.py FOLDER      (script/python sets up what it needs: nbformat, nbclient, nbconvert, ipykernel)

A source is a Python file whose cells begin with lines of "# %%"; those of "# %% [markdown]" are text. FOLDER gets
NAME.ipynb with all that was answered, and NAME.html. A cell that fails ends it all.
"""

from __future__ import annotations

import pathlib
import sys

import nbclient
import nbconvert
import nbformat

PAGES = "diagnosis", "learning", "decision"
HERE = pathlib.Path(__file__).resolve().parent
CELL, TEXT = "# %%", "# %% [markdown]"
SECONDS = 300  # that a cell may take


def notebook_of(source: str) -> nbformat.NotebookNode:
    cells: list[nbformat.NotebookNode] = []
    for part in ("\n" + source).split("\n" + CELL)[1:]:
        head, _, body = part.partition("\n")
        if CELL + head == TEXT:
            text = "\n".join(line.removeprefix("#").removeprefix(" ") for line in body.strip().split("\n"))
            cells.append(nbformat.v4.new_markdown_cell(text))
        else:
            cells.append(nbformat.v4.new_code_cell(body.strip()))
    for i, cell in enumerate(cells):
        cell["id"] = f"cell-{i}"  # the same source gives the same notebook
    return nbformat.v4.new_notebook(cells=cells)


def main() -> None:
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    pages = nbconvert.HTMLExporter(mathjax_url="", require_js_url="")
    for name in PAGES:
        notebook = notebook_of((HERE / f"{name}.py").read_text(encoding="utf-8"))
        client = nbclient.NotebookClient(notebook, timeout=SECONDS, kernel_name="python3",
                                         resources={"metadata": {"path": str(HERE)}})
        client.execute()
        nbformat.write(notebook, folder / f"{name}.ipynb")
        title = notebook.cells[0].source.split("\n")[0].lstrip("# ")
        page, _ = pages.from_notebook_node(notebook, resources={"metadata": {"name": title}})
        (folder / f"{name}.html").write_text(page, encoding="utf-8")
        print(f"{folder / name}.html: {sum(cell.cell_type == 'code' for cell in notebook.cells)} cells run")


if __name__ == "__main__":
    main()
