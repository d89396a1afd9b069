"""Dask's data frames: the same tables and beliefs as in one process, by threads and by processes."""

from __future__ import annotations

import bravic
import numpy as np
import pytest
from conftest import random_net

pandas = pytest.importorskip("pandas")
dask = pytest.importorskip("dask")
frames = pytest.importorskip("dask.dataframe")
bravic_dask = pytest.importorskip("bravic.dask")
pytestmark = pytest.mark.filterwarnings("ignore")


@pytest.mark.parametrize("scheduler", ["threads", "processes"])
def test_parts_say_what_the_whole_says(scheduler: str) -> None:
    net = random_net(np.random.default_rng(12), 6)
    rows = net.sample(5000, seed=4, frame="pandas").astype(object)
    rows = rows.mask(np.random.default_rng(5).random(rows.shape) < 0.1, None).assign(times=2.0)
    whole, parts = net.copy(), net.copy()
    with dask.config.set(scheduler=scheduler, num_workers=2):
        frame = frames.from_pandas(rows, npartitions=7)
        whole.learn(rows, weights="times")
        bravic_dask.learn(parts, frame, weights="times")
        assert [node.table.tolist() for node in parts] == [node.table.tolist() for node in whole]
        loglik = bravic_dask.em(parts, frame, iterations=2, tolerance=0)
        assert loglik == pytest.approx(whole.learn(rows, "em", iterations=2, tolerance=0), rel=1e-9)
        for node in parts:
            np.testing.assert_allclose(node.table, whole[node.name].table, atol=1e-6)
        found = bravic_dask.infer(net, frame.drop(columns="N3"), ["N3"])
        assert found.dtypes["N3=s0"] == np.float32
        expected = net.infer(rows.drop(columns="N3"), ["N3"])
        pandas.testing.assert_frame_equal(found.compute()[list(expected)], expected)
        with pytest.raises(bravic.Error, match="no column"):
            bravic_dask.learn(parts, frame[["times"]], weights="times")
