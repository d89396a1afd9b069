"""Pictures and tables: every text is shown as text."""

from __future__ import annotations

import json
import xml.etree.ElementTree as ET
from pathlib import Path

import bravic
import bravic._svg
import pytest

NASTY = "<script>alert('x')</script>\"&]]>\0".replace("\0", "\x07")


@pytest.fixture(params=["dot", "layers"])
def layout(request: pytest.FixtureRequest, monkeypatch: pytest.MonkeyPatch) -> str:
    if request.param == "layers":
        monkeypatch.setattr(bravic._svg.shutil, "which", lambda name: None)
    elif bravic._svg.shutil.which("dot") is None:
        pytest.skip("no Graphviz")
    return request.param


def nasty_net() -> bravic.Net:
    net = bravic.Net(NASTY)
    node = net.add_node(NASTY, [NASTY, "</svg>", "\" onload=\"x"], table=[0.5, 0.25, 0.25], title=NASTY, comment=NASTY)
    net.add_node("Child", ["<b>", "&amp;"], parents=[node], table=[[0.5, 0.5]] * 3, title="</text><script>")
    net.title = NASTY
    return net


def test_a_title_that_is_a_script_is_a_text(layout: str) -> None:
    net = nasty_net()
    for shown in (net.svg(), net._repr_html_(), *(node._repr_html_() for node in net)):
        assert "<script" not in shown
        root = ET.fromstring(f"<all>{shown}</all>")
        assert not any("script" in e.tag.lower() or any(a.startswith("on") for a in e.attrib) for e in root.iter())
    texts = [e.text for e in ET.fromstring(net.svg()).iter() if e.tag.endswith("text")]
    assert any(text.startswith("<script>alert") for text in texts)


def test_boxes_do_not_overlap(layout: str, clinic: bravic.Net) -> None:
    clinic.enter(XRay="abnormal")
    root = ET.fromstring(clinic.svg())
    boxes = [[float(e.get(a)) for a in ("x", "y", "width", "height")] for e in root.iter()
             if e.tag.endswith("rect") and e.get("stroke")]
    assert len(boxes) == 8 and len([e for e in root.iter() if e.tag.endswith("path") and e.get("marker-end")]) == 8
    width, height = float(root.get("viewBox").split()[2]), float(root.get("viewBox").split()[3])
    for i, (x, y, w, h) in enumerate(boxes):
        assert 0 <= x and x + w <= width + 1 and 0 <= y and y + h <= height + 1
        for x2, y2, w2, h2 in boxes[i + 1 :]:
            assert x + w <= x2 or x2 + w2 <= x or y + h <= y2 or y2 + h2 <= y


def test_nets_that_cannot_be_computed_are_shown() -> None:
    net = bravic.Net()
    assert net.svg().startswith("<svg") and "0 nodes" in net._repr_html_()
    net.add_node("A", ["x", "y"])
    assert "no table" in net["A"]._repr_html_() and ">x</text>" in net.svg()
    for i in range(160):
        net.add_node(f"N{i}", 2)
    assert "161 nodes" in net._repr_html_()


def test_a_page_holds_the_net_and_its_findings_and_nothing_of_it_is_markup(tmp_path: Path) -> None:
    net = nasty_net()
    net.enter({NASTY: "</svg>"})
    page = net.explore(tmp_path / "page.html").read_text(encoding="utf-8")
    before, _, after = page.partition('<script type="application/json" id="net">')
    inside, _, _ = after.partition("</script>")
    assert "<" not in inside and NASTY not in before
    again = bravic.read_text(json.loads(inside)["text"])
    assert again.title == NASTY and again.findings == net.findings
