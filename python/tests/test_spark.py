"""Spark in its local cluster of two worker processes: the same tables as in one process."""

from __future__ import annotations

import os
import pathlib
import sys
from collections.abc import Iterator

import bravic
import numpy as np
import pytest
from conftest import random_net

pandas = pytest.importorskip("pandas")
pyarrow = pytest.importorskip("pyarrow")
pyspark = pytest.importorskip("pyspark")
bravic_spark = pytest.importorskip("bravic.spark")
pytestmark = pytest.mark.filterwarnings("ignore")


@pytest.fixture(scope="module")
def session() -> Iterator[object]:
    from pyspark.sql import SparkSession

    os.environ["PYSPARK_PYTHON"] = sys.executable  # of the workers
    master = os.environ.get("BRAVIC_SPARK", "local-cluster[2,1,1024]")
    builder = SparkSession.builder.master(master).config("spark.ui.enabled", "false")
    builder = builder.config("spark.driver.host", "127.0.0.1").config("spark.driver.bindAddress", "127.0.0.1")
    builder = builder.config("spark.sql.shuffle.partitions", "4").config("spark.task.maxFailures", "8")
    session = builder.config("spark.sql.execution.arrow.maxRecordsPerBatch", "2000").getOrCreate()
    session.sparkContext.setLogLevel("OFF")
    yield session
    session.stop()


@pytest.fixture(scope="module")
def net() -> bravic.Net:
    return random_net(np.random.default_rng(11), 6)


@pytest.fixture(scope="module")
def rows(net: bravic.Net) -> pandas.DataFrame:
    frame = net.sample(20_000, seed=4, frame="pandas").astype(object)
    return frame.mask(np.random.default_rng(5).random(frame.shape) < 0.1, None)


def arrow_of(frame: pandas.DataFrame) -> pyarrow.Table:
    return pyarrow.table({name: pyarrow.array([None if v is None or v != v else v for v in frame[name]]) for name in frame})


def tables(net: bravic.Net) -> list:
    return [node.table.tolist() for node in net]


def test_arrow_tables_are_tables_of_cases(net: bravic.Net, rows: pandas.DataFrame) -> None:
    table = arrow_of(rows)
    assert tables_learned(net, table) == tables_learned(net, rows) == tables_learned(net, pyarrow.concat_tables([table[:99], table[99:]]))
    texts = rows.astype({name: "string[pyarrow]" for name in rows})
    assert tables_learned(net, texts) == tables_learned(net, rows)
    answer = net.infer(table[:50], ["N1"])
    assert isinstance(answer, pyarrow.Table) and answer.column("N1=s0").to_pylist() == net.infer(rows[:50], ["N1"])["N1=s0"].tolist()


def tables_learned(net: bravic.Net, data: object) -> list:
    own = net.copy()
    own.learn(data)
    return tables(own)


def spread(session: object, rows: pandas.DataFrame) -> object:
    return session.createDataFrame(arrow_of(rows)).repartition(6)


def test_tables_are_those_of_one_process(session: object, net: bravic.Net, rows: pandas.DataFrame) -> None:
    own = net.copy()
    bravic_spark.learn(own, spread(session, rows))
    assert tables(own) == tables_learned(net, rows)


def test_em_is_that_of_one_process(session: object, net: bravic.Net, rows: pandas.DataFrame) -> None:
    own, one = net.copy(), net.copy()
    loglik = bravic_spark.em(own, spread(session, rows).cache(), iterations=3, tolerance=0, prior=1.0)
    assert loglik == pytest.approx(one.learn(rows, "em", iterations=3, tolerance=0, prior=1.0), rel=1e-9)
    for node in own:
        np.testing.assert_allclose(node.table, one[node.name].table, atol=1e-6)
    assert own.undo() and tables(own) == tables(net)


def test_beliefs_stand_beside_their_rows(session: object, net: bravic.Net, rows: pandas.DataFrame) -> None:
    keyed = rows.head(500).assign(Number=range(500)).drop(columns="N3")
    frame = bravic_spark.infer(net, spread(session, keyed), ["N3"])
    got = {row["Number"]: row["N3=s0"] for row in frame.collect()}
    assert [got[i] for i in range(500)] == net.infer(keyed, ["N3"])["N3=s0"].tolist()


def test_a_worker_that_dies_changes_nothing(session: object, net: bravic.Net, rows: pandas.DataFrame,
                                            tmp_path: pathlib.Path) -> None:
    died = str(tmp_path / "died")

    def die_once(batches: Iterator[object]) -> Iterator[object]:
        import os
        import signal

        try:
            os.close(os.open(died, os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            yield from batches
            return
        with open(f"/proc/{os.getppid()}/stat") as stat:  # of the daemon, whose parent is the executor
            executor = int(stat.read().rsplit(")", 1)[1].split()[1])
        os.kill(executor, signal.SIGKILL)
        yield from batches

    frame = spread(session, rows)
    own = net.copy()
    bravic_spark.learn(own, frame.mapInArrow(die_once, frame.schema))
    assert os.path.exists(died) and tables(own) == tables_learned(net, rows)
