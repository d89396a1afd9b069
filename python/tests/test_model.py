"""Nets built, changed, undone, copied and saved."""

from __future__ import annotations

import copy
import pickle
import warnings

import bravic
import numpy as np
import pytest


def test_tables_come_back_as_they_were_set(lawn: bravic.Net) -> None:
    grass = lawn["Grass"]
    assert grass.table.shape == (2, 2, 2) and grass.table.dtype == np.float32
    np.testing.assert_array_equal(grass.table[1, 0], np.float32([0.9, 0.1]))
    grass.table = grass.table[::-1]  # not contiguous
    np.testing.assert_array_equal(grass.table[0, 0], np.float32([0.9, 0.1]))
    grass.table = np.full(8, 0.5)
    assert (grass.table == 0.5).all()
    grass.experience = 10
    assert (grass.experience == 10).all()
    grass.table[:] = 0.1  # a copy
    assert (grass.table == 0.5).all()
    with pytest.raises(ValueError, match="shape"):
        grass.table = [[0.5, 0.5]]


def test_a_refused_table_changes_nothing(lawn: bravic.Net) -> None:
    before = lawn.write()
    with pytest.raises(bravic.Error) as info:
        lawn["Grass"].table = [[[0.5, 0.5], [0.5, 0.5]], [[0.5, 0.5], [0.5, 0.6]]]
    assert (info.value.number, info.value.danger) == (5133, 5) and "Grass" in info.value.message
    assert lawn.write() == before
    lawn.undo()
    assert "Grass" not in lawn, "the last change was the node itself"


def test_every_change_is_one_step_for_undo(lawn: bravic.Net) -> None:
    def swap() -> None:
        lawn["Rain"].states = ["no", "yes"]

    changes = [
        lambda: lawn.add_node("Pay", ["<=50K", ">50K"], parents=["Rain"], table=np.full((2, 2), 0.5), title="t"),
        lambda: setattr(lawn["Grass"], "table", np.full((2, 2, 2), 0.5)),
        swap,
        lambda: lawn.enter(Rain="yes", Grass={"wet": 0.5, "dry": 0.25}),
        lambda: lawn.retract("Rain", "Grass"),
        lambda: lawn.delete("Rain", "Sprinkler"),
        lambda: lawn.add_copies(lawn.nodes),
        lambda: lawn["Grass"].remove_parent(0),
        lambda: setattr(lawn, "title", "<x>"),
    ]
    looks = [lawn.write()]
    for change in changes:
        change()
        looks.append(lawn.write())
        assert looks[-1] != looks[-2]
    for look in reversed(looks[:-1]):
        assert lawn.undo() and lawn.write() == look
    for look in looks[1:]:
        assert lawn.redo() and lawn.write() == look
    assert not lawn.redo()


def test_what_fails_halfway_is_taken_back(lawn: bravic.Net) -> None:
    before = lawn.write()
    with pytest.raises(bravic.UnknownName):
        lawn.add_node("New", ["a", "b"], parents=["Rain", "Nobody"])
    with pytest.raises(bravic.Error):
        lawn.enter(Rain="yes", Sprinkler=7)
    with pytest.raises(ZeroDivisionError), lawn.change():
        lawn["Rain"].title = "half"
        assert len(bravic.Net("Meanwhile")) == 0
        lawn.delete("Grass")
        1 / 0
    with pytest.raises(bravic.Error):
        lawn["Rain"].states = ["yes", "yes"]
    assert lawn.write() == before


def test_unknown_names_are_answered_with_the_nearest(clinic: bravic.Net) -> None:
    for ask, near in [(lambda: clinic["bronchitis"], "Bronchitis"), (lambda: clinic.enter(XRay="abnormel"), "abnormal"),
                      (lambda: clinic.joint(["Tuberculosus"]), "Tuberculosis"), (lambda: clinic.write("bfi"), "bif")]:
        with pytest.raises(bravic.UnknownName, match=near) as info:
            ask()
        assert isinstance(info.value, KeyError)


def test_any_text_is_a_name() -> None:
    net = bravic.Net("Été 100%")
    node = net.add_node("Wie alt?", ["<18", ">=18", "1", "2nd"], levels=[1, 2, 3, 4])
    assert (net.title, node.label, node.name) == ("Été 100%", "Wie alt?", "Wie_alt")
    assert node.labels == ["<18", ">=18", "1", "2nd"] and node.states == ["s18", "s18_2", "s1", "s2nd"]
    assert net["Wie alt?"] == node and node.state(">=18") == node.state("s18_2") == node.state(1) == 1
    assert net.add_node("Wie alt!").name == "Wie_alt_2"
    node.comment = "a \udcff byte and ü"
    assert net.copy()["Wie_alt"].comment == "a \udcff byte and ü"
    with pytest.raises(ValueError):
        node.title = "zero\0byte"


def test_copies_and_pickles_say_the_same(clinic: bravic.Net) -> None:
    clinic.enter(XRay="abnormal", Smoking={"smoker": 0.5, "nonsmoker": 0.25})
    text = clinic.write()
    for other in (clinic.copy(), copy.copy(clinic), copy.deepcopy(clinic), pickle.loads(pickle.dumps(clinic))):
        assert other is not clinic and other.write() == text
        assert other.beliefs() == clinic.beliefs()
    node = pickle.loads(pickle.dumps(clinic["XRay"]))
    assert node.name == "XRay" and node.net is not clinic


def test_placeholders_keep_their_place(lawn: bravic.Net) -> None:
    grass = lawn["Grass"]
    lawn["Rain"].delete()
    assert [p and p.name for p in grass.parents] == [None, "Sprinkler"] and grass.table.shape == (2, 2, 2)
    grass.remove_parent(0)
    assert [p and p.name for p in grass.parents] == ["Sprinkler"]


def test_continuous_nodes_and_functions() -> None:
    net = bravic.Net()
    heat = net.add_node("Heat", levels=[0, 10, 20, 40], table=[0.25, 0.5, 0.25])
    assert not heat.is_discrete and len(heat) == 3 and heat.levels == [0, 10, 20, 40]
    net.enter(Heat=12.5)
    assert net.findings == {"Heat": 12.5} and heat.beliefs.tolist() == [0, 1, 0]
    cost = net.add_node("Cost", parents=[heat], kind="utility", table=[1.5, 2.5, float("nan")])
    np.testing.assert_array_equal(cost.table, [1.5, 2.5, float("nan")])
    assert cost.kind == "utility"


@pytest.mark.parametrize("format", ["dne", "bif", "xmlbif", "net", "uai", "xdsl"])
def test_all_formats_hold_the_clinic(clinic: bravic.Net, format: str, tmp_path) -> None:
    extension = {"xmlbif": "bifxml"}.get(format, format)
    path = tmp_path / f"clinic.{extension}"
    expected = [list(b.values()) for b in clinic.beliefs().values()]
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        clinic.save(path)
    assert [w.category for w in told] == ([] if format in ("dne", "xdsl", "net") else [bravic.BravicWarning])
    assert all(w.filename == __file__ and "cannot hold" in str(w.message) for w in told)
    for again in (bravic.read(path), bravic.read_text(path.read_bytes(), format)):
        np.testing.assert_allclose([list(b.values()) for b in again.beliefs().values()], expected, atol=1e-6)


def test_bad_files_are_refused_with_their_lines(tmp_path) -> None:
    path = tmp_path / "bad.bif"
    path.write_text("network x {}\nvariable A { type discrete [2] { a, a }; }\n")
    with pytest.raises(bravic.Error, match="bad.bif:2") as info:
        bravic.read(path)
    assert 811 <= info.value.number <= 866
    with pytest.raises(bravic.Error):
        bravic.read(tmp_path / "none.dne")
    with pytest.raises(bravic.UnknownName):
        bravic.read(path, "pdf")
