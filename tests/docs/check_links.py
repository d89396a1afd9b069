"""check_links.py FOLDER: every link of the pages of a folder leads to a file within it, and to an anchor that is there."""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, path: Path) -> None:
        super().__init__()
        self.links: list[str] = []
        self.anchors: set[str] = set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        for name, value in attributes:
            if name in ("href", "src") and value and tag != "base":
                self.links.append(value)
            elif name in ("id", "name") and value:
                self.anchors.add(value)


def main(root: Path) -> int:
    pages = {path.resolve(): Page(path) for path in root.rglob("*.html")}
    bad = count = 0
    for path, page in pages.items():
        if path.name == "404.html":  # served from anywhere
            continue
        for link in page.links:
            url = urlsplit(link)
            if url.scheme or url.netloc:
                continue
            count += 1
            target = (path.parent / unquote(url.path)).resolve() if url.path else path
            target = target / "index.html" if target.is_dir() else target
            anchored = not url.fragment or target not in pages or unquote(url.fragment) in pages[target].anchors
            if not target.exists() or root.resolve() not in target.parents or not anchored:
                print(f"{path.relative_to(root.resolve())}: {link} leads nowhere")
                bad += 1
    print(f"{count} links of {len(pages)} pages, {bad} lead nowhere")
    return 1 if bad or not count else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
