"""Tables and links learned from frames."""

from __future__ import annotations

import math
import pickle

import bravic
import numpy as np
import pytest
from conftest import SHARED, random_net

pandas = pytest.importorskip("pandas")
polars = pytest.importorskip("polars")


def counted(net: bravic.Net, node: bravic.Node, frame, prior: float) -> np.ndarray:
    """A table by counting, in plain Python."""
    table = np.full([*(len(p) for p in node.parents), len(node)], prior / len(node))
    for _, row in frame.iterrows():
        members = [*node.parents, node]
        if all(isinstance(row[m.name], str) for m in members):
            table[tuple(m.state(row[m.name]) for m in members)] += 1
    return table / table.sum(-1, keepdims=True)


def of_polars(frame) -> polars.DataFrame:
    return polars.DataFrame({name: [None if v is None or v != v else v for v in frame[name].tolist()] for name in frame})


def test_learning_counts_what_is_known() -> None:
    net = random_net(np.random.default_rng(3), 6, 3)
    frame = net.sample(300, seed=5, frame="pandas").astype(object)
    frame = frame.mask(np.random.default_rng(1).random(frame.shape) < 0.1)
    before = net.write()
    assert net.learn(frame, prior=2.0) is None
    for node in net:
        np.testing.assert_allclose(node.table, counted(net, node, frame, 2.0), atol=1e-6)
    learned = {node.name: node.table for node in net}
    net.undo()
    assert net.write() == before
    for data in (of_polars(frame), frame.to_dict("list"), frame.astype("category"), frame.to_dict("records")):
        net.learn(data, prior=2.0)
        assert all((node.table == learned[node.name]).all() for node in net)


def test_counts_of_parts_add_up() -> None:
    net = random_net(np.random.default_rng(4), 5)
    frame = net.sample(1000, seed=2, frame="pandas")
    whole = net.counts()
    whole.add(frame)
    parts = net.counts()
    for part in np.array_split(np.arange(1000), 7):
        other = pickle.loads(pickle.dumps(net)).counts()  # as in another process
        other.add(frame.iloc[part])
        back = net.counts()
        back.values = other.values
        parts += back
    np.testing.assert_array_equal(whole.values, parts.values)
    assert len(whole) == sum(node.table.size for node in net) == len(whole.values)
    parts.learn(prior=0)
    assert (net["N0"].experience == 1000).all()
    weighted = net.counts(["N0"])
    weighted.add(frame.assign(times=2.5), weights="times")
    assert weighted.values.sum() == 2500
    net["N0"].add_parent(net.add_node("New", 2))
    with pytest.raises(bravic.Error) as info:
        whole.values
    assert info.value.number == 2702
    net.free()
    for use in (lambda: whole.values, lambda: whole.add(frame), lambda: whole.learn(), lambda: len(whole)):
        with pytest.raises(bravic.Error):
            use()


def test_em_agrees_with_its_rounds() -> None:
    net = random_net(np.random.default_rng(6), 5)
    frame = net.sample(400, seed=3, frame="pandas").astype(object)
    frame = frame.mask(np.random.default_rng(2).random(frame.shape) < 0.3)
    for node in net:
        node.table = np.random.default_rng(1).dirichlet(np.ones(len(node)), size=node.table.shape[:-1])
    other = net.copy()
    loglik = net.learn(frame, "em", iterations=4, tolerance=0, prior=0)
    steps = []
    for _ in range(4):
        counts = other.counts()
        steps.append(counts.expect(frame))
        counts.learn(prior=0)
    assert steps == sorted(steps)
    assert loglik == pytest.approx(other.counts().expect(frame), rel=1e-9)
    for node in net:
        np.testing.assert_allclose(node.table, other[node.name].table, atol=1e-6)


def test_links_are_found_again() -> None:
    rng = np.random.default_rng(0)
    a = rng.integers(0, 2, 2000)
    b = np.where(rng.random(2000) < 0.9, a, 1 - a)
    c = np.where(rng.random(2000) < 0.9, b, 1 - b)
    frame = pandas.DataFrame({"a?": np.array(["<=5", ">5"])[a], "b": b, "c": c.astype(bool), "d": rng.integers(0, 3, 2000)})
    net = bravic.learn_structure(frame)
    links = {frozenset((p.label, n.label)) for n in net for p in n.parents}
    assert links == {frozenset(("a?", "b")), frozenset(("b", "c"))}
    assert set(net["a?"].labels) == {"<=5", ">5"} and sorted(net["d"].labels) == ["0", "1", "2"]
    with net.given(b=net["b"].state("1")):
        assert net.beliefs()["c"]["True"] == pytest.approx(0.9, abs=0.03)
    assert net.score(frame) > bravic.learn_structure(frame, forbid=[("b", "c"), ("c", "b")]).score(frame)
    forced = bravic.learn_structure(of_polars(frame), "bdeu", require=[("d", "a?")], max_parents=2, seed=3)
    assert forced["d"] in forced["a?"].parents
    tiered = bravic.learn_structure(frame, tiers={"a?": 2, "b": 1, "c": 0, "d": 0})
    assert tiered["b"] in tiered["a?"].parents and tiered["c"] in tiered["b"].parents
    for bad in (dict(score="aic"), dict(method="hil"), dict(max_parents=0), dict(tiers={"b": 1}), dict(require=[("b", "x")])):
        with pytest.raises((ValueError, bravic.Error)):
            bravic.learn_structure(frame, **bad)
    with pytest.raises(bravic.Error, match="different values"):
        bravic.learn_structure({"x": [i / 7 for i in range(1001)]})


def test_numbers_are_cut() -> None:
    ages = [1.0, 2, 3, float("nan"), 8, 9, 10, 40]
    assert bravic.discretize(ages, bins=3).tolist() == pytest.approx([-math.inf, 14, 27, math.inf])
    assert bravic.discretize(ages, "count", bins=2).shape == (3,)
    assert bravic.discretize(pandas.Series(ages * 9), "information", target=[a > 5 for a in ages] * 9)[1] == 5.5
    for bad in (dict(bins=0), dict(method="information"), dict(method="wide")):
        with pytest.raises((ValueError, bravic.Error)):
            bravic.discretize(ages, **bad)
    with pytest.raises(bravic.Error):
        bravic.discretize([float("nan")])


@pytest.mark.skipif(not (SHARED / "data").is_dir(), reason="no shared data")
def test_a_spreadsheet_becomes_a_net() -> None:
    frame = pandas.read_csv(SHARED / "data" / "census.csv").head(5000)
    net = bravic.learn_structure(frame, max_parents=3, restarts=0)
    assert len(net) == frame.shape[1] and "<=50K" in net["Income"].labels
    assert net.infer(frame.drop(columns="Income"), ["Income"]).shape == (5000, 3)
    assert math.isfinite(net.score(frame, "bdeu"))
