"""Tables of cases in and out, as pandas, polars and Python have them."""

from __future__ import annotations

import math

import bravic
import numpy as np
import pytest
from conftest import EXAMPLES

pandas = pytest.importorskip("pandas")
polars = pytest.importorskip("polars")

ROWS = {"XRay": ["abnormal", None, "normal", "*"], "Smoking": ["smoker", "smoker", None, ""], "Other": [1, 2, 3, 4]}


def one_by_one(net: bravic.Net, target: str) -> list[list[float]]:
    beliefs = []
    for xray, smoking in zip(ROWS["XRay"], ROWS["Smoking"]):
        found = {k: v for k, v in (("XRay", xray), ("Smoking", smoking)) if v not in (None, "", "*")}
        with net.given(found):
            beliefs.append([*net[target].beliefs.tolist(), net.log_probability])
    return beliefs


def frames() -> list:
    return [
        ROWS, [dict(zip(ROWS, row)) for row in zip(*ROWS.values())], pandas.DataFrame(ROWS, index=list("wxyz")),
        pandas.DataFrame(ROWS).astype({"XRay": "category"}), polars.DataFrame(ROWS),
        polars.DataFrame(ROWS).with_columns(polars.col("Smoking").cast(polars.Categorical)),
        {"XRay": [0, math.nan, 1.0, None], "Smoking": np.array(["smoker", "smoker", "", "*"])},
        {"XRay": pandas.array([0, None, 1, None], "Int64"), "Smoking": ROWS["Smoking"]},
    ]


def test_every_kind_of_frame_gives_the_same_beliefs(clinic: bravic.Net) -> None:
    expected = one_by_one(clinic, "LungCancer")
    names = [f"LungCancer={state}" for state in clinic["LungCancer"].states] + ["logprob"]
    for data in frames():
        if isinstance(data, dict) and "Other" not in data and clinic["XRay"].states[0] != "abnormal":
            continue
        answer = clinic.infer(data, ["LungCancer"])
        if isinstance(data, list):
            got = [[row[name] for name in names] for row in answer]
        else:
            assert type(answer) is type(data) and list(answer.keys() if isinstance(answer, dict) else answer.columns) == names
            got = np.column_stack([np.asarray(answer[name]) for name in names])
        np.testing.assert_allclose(got, expected, atol=1e-6)
    assert list(clinic.infer(frames()[2]).index) == list("wxyz")


def test_columns_of_any_objects_are_read_object_by_object() -> None:
    net = bravic.Net()
    net.add_node("A", ["1", "2", "yes", "no"], table=[0.25] * 4)
    rng = np.random.default_rng(3)
    kinds = ["1", 2.0, "yes", True, False, None, math.nan, "no", np.str_("2"), "", np.int64(2), pandas.NA]
    expected = [0, 1, 2, 2, 3, None, None, 3, 1, None, 1, None]
    order = rng.integers(0, len(kinds), 3000)
    # Equal texts that are different objects, and more of them than are remembered by address.
    values = [kinds[i] if not isinstance(kinds[i], str) else "".join(list(kinds[i])) for i in order]
    beliefs = np.array([[0.25] * 4 if expected[i] is None else np.eye(4)[expected[i]] for i in order])
    objects = np.empty(2 * len(values), object)
    objects[::2] = values
    twin = net.add_node("Twin", 4, parents=["A"], table=np.eye(4))
    for column in (values, tuple(values), objects[::2].copy(), objects[::2], pandas.Series(values, dtype=object)):
        got = net.infer({"A": column}, [twin], log_probability=False)
        np.testing.assert_array_equal(np.column_stack(list(got.values())), beliefs)


def test_columns_that_change_while_they_are_read_are_refused() -> None:
    class Shrinking:
        def __hash__(self) -> int:
            del column[2:]
            return 1

        def __str__(self) -> str:
            return "no"

    column: list = ["yes", Shrinking(), *map(str, range(500))]
    net = bravic.Net()
    net.add_node("A", ["yes", "no"], table=[0.5, 0.5])
    with pytest.raises(IndexError):
        net.infer({"A": column}, [])
    with pytest.raises(TypeError):
        bravic._bravic.encode_objects(np.zeros(3), {}, np.zeros(3, np.int32))
    with pytest.raises(ValueError):
        bravic._bravic.encode_objects(["a"], {"a": 1}, np.zeros(3, np.int32))


def test_what_cannot_be_read_is_told_with_its_row(clinic: bravic.Net) -> None:
    with pytest.raises(bravic.UnknownName, match="row 1: .*'abnormel'.*abnormal"):
        clinic.infer({"XRay": ["normal", "abnormel"]})
    with pytest.raises(bravic.Error, match="no column"):
        clinic.infer({"Nothing": [1]})
    with pytest.raises(ValueError, match="different lengths"):
        clinic.infer({"XRay": [0, 1], "Smoking": [0]})
    with pytest.raises(TypeError):
        clinic.infer(7)
    with pytest.raises(bravic.Error):
        clinic.infer({"XRay": [0, 2]})
    assert list(clinic.infer({"XRay": []}, ["Smoking"])["logprob"]) == []


def test_targets_are_no_findings_and_impossible_cases_are_told() -> None:
    net = bravic.Net()
    a = net.add_node("A", ["x", "y"], table=[0.5, 0.5])
    net.add_node("B", ["x", "y"], parents=[a], table=np.eye(2))
    net.add_node("C", ["x", "y"], parents=[a], table=np.eye(2))
    answer = net.infer({"B": ["x", "x"], "C": ["x", "y"]}, ["A"], threads=2)
    assert answer["A=x"].tolist() == [1, 0] and answer["logprob"].tolist() == [pytest.approx(math.log(0.5)), -math.inf]
    assert net.infer({"B": ["x"], "A": ["y"]}, "A")["A=x"].tolist() == [1]


def test_intervals_levels_and_truths() -> None:
    net = bravic.Net()
    net.add_node("Heat", levels=[0, 10, 20], table=[0.5, 0.5])
    net.add_node("Size", ["s", "m"], levels=[1, 2.5], table=[0.5, 0.5])
    net.add_node("Ok", ["no", "yes"], table=[0.25, 0.75])
    net.add_node("Digit", ["7", "8"], table=[0.25, 0.75])
    data = {"Heat": [0.0, 10.0, 20.0, math.nan], "Size": [1, 2.5, 1.0, 2.5], "Ok": [True, False, None, True],
            "Digit": [7, 8, 8.0, "7"]}
    columns, rows = bravic._frames.columns_of(data)
    states = bravic._frames.matrix(data, {name: net[name] for name in data}, rows, columns)
    assert states.T.tolist() == [[0, 1, 1, -3], [0, 1, 0, 1], [1, 0, -3, 1], [0, 1, 1, 0]]
    for bad in ({"Heat": [20.5]}, {"Size": [2.0]}, {"Digit": [9]}, {"Ok": [0.5]}):
        with pytest.raises(bravic.Error, match="row 0"):
            net.infer(bad)


def test_samples_follow_the_net(clinic: bravic.Net) -> None:
    drawn = clinic.sample(20_000, seed=7, frame="pandas")
    again = clinic.sample(20_000, seed=7, frame="polars")
    assert drawn["XRay"].tolist() == again["XRay"].to_list()
    for node in clinic:
        shares = [(drawn[node.name] == state).mean() for state in node.states]
        np.testing.assert_allclose(shares, node.beliefs, atol=0.02)
    with clinic.given(XRay="abnormal"):
        assert set(clinic.sample(50, frame="dict")["XRay"]) == {"abnormal"}
    heat = bravic.read(EXAMPLES / "heat_pump.dne")
    continuous = [node for node in heat if not node.is_discrete and len(node)]
    values = heat.sample(100, seed=1, frame="dict", nodes=[*continuous, heat.nodes[0]])
    for node in continuous:
        assert values[node.name].dtype == float and node.levels[0] <= values[node.name].min() <= values[node.name].max() <= node.levels[-1]
