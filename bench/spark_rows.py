"""Learns from many rows by Spark's local cluster, with one worker process and with two, beside one process without Spark.

    spark_rows.py NET [ROWS]      (script/bench --spark sets up what it needs: PySpark, pyarrow, Java)

Rows are drawn from the net, a tenth of the cells taken out, and written as a Parquet file that all read. Tables learned by
counting have to be the same bits, also where a worker's process is killed halfway; EM's log likelihoods have to agree to
1e-9. Printed are rows per second by the clock, reading included; an EM iteration counts every row once, and so does the
pass that tells the log likelihood in the end.
"""

import os
import signal
import sys
import tempfile
import time
import warnings

import bravic
import bravic.spark
import numpy
import pandas
import pyarrow
import pyarrow.parquet
from pyspark.sql import SparkSession

BLOCK, GROUP = 1_000_000, 250_000  # rows drawn at once, and in a group of the file
MISSING = 0.1
ITERATIONS = 2
AGREEMENT = 1e-9


def write_rows(net, rows, path):
    """As columns of texts, each different text once."""
    chance = numpy.random.default_rng(5)
    writer = None
    for start in range(0, rows, BLOCK):
        frame = net.sample(min(BLOCK, rows - start), seed=start // BLOCK + 1, frame="pandas")
        for name in frame:
            column = frame[name].array
            codes = numpy.where(chance.random(len(column)) < MISSING, -1, column.codes)
            frame[name] = pandas.Categorical.from_codes(codes, dtype=column.dtype)
        table = pyarrow.Table.from_pandas(frame, preserve_index=False)
        writer = writer or pyarrow.parquet.ParquetWriter(path, table.schema)
        writer.write_table(table, row_group_size=GROUP)
    writer.close()


def start_spark(workers):
    os.environ["PYSPARK_PYTHON"] = sys.executable
    settings = {
        "spark.ui.enabled": "false",
        "spark.ui.showConsoleProgress": "false",
        "spark.driver.host": "127.0.0.1",
        "spark.driver.bindAddress": "127.0.0.1",
        "spark.task.maxFailures": "8",
        "spark.sql.files.maxPartitionBytes": "1m",
    }
    builder = SparkSession.builder.master(f"local-cluster[{workers},1,1024]")
    for name, value in settings.items():
        builder = builder.config(name, value)
    session = builder.getOrCreate()
    session.sparkContext.setLogLevel("OFF")
    return session


def dying_once(frame, mark, after):
    """The frame, but that the first worker to come so many batches far is killed."""

    def pass_on(batches):
        for number, batch in enumerate(batches):
            yield batch
            if number == after:
                try:
                    os.close(os.open(mark, os.O_CREAT | os.O_EXCL))
                except FileExistsError:
                    continue
                with open(f"/proc/{os.getppid()}/stat") as stat:  # of the daemon, whose parent is the executor
                    os.kill(int(stat.read().rsplit(")", 1)[1].split()[1]), signal.SIGKILL)

    return frame.mapInArrow(pass_on, frame.schema)


def timed(call):
    began = time.perf_counter()
    answer = call()
    return time.perf_counter() - began, answer


def tables(net):
    return [node.table.tobytes() for node in net]


def learn(net, frame):
    own = net.copy()
    bravic.spark.learn(own, frame)
    return tables(own)


def em(net, frame):
    return bravic.spark.em(net.copy(), frame, iterations=ITERATIONS, tolerance=0)


def learn_alone(net, path):
    own = net.copy()
    own.learn(pyarrow.parquet.read_table(path))
    return tables(own)


def em_alone(net, path):
    return net.copy().learn(pyarrow.parquet.read_table(path), "em", iterations=ITERATIONS, tolerance=0)


def check(agrees, what):
    if not agrees:
        sys.exit(f"{what} differ")


def report(title, rows, learning, iterating):
    print(f"| {title} | {rows / learning:,.0f} | {rows * (ITERATIONS + 1) / iterating:,.0f} |", flush=True)


def main():
    warnings.filterwarnings("ignore")
    net, rows = bravic.read(sys.argv[1]), int((sys.argv[2:] or ["10000000"])[0])
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "rows.parquet")
        write_rows(net, rows, path)
        print(f"{rows:,} rows of {len(net)} columns")
        print("| | counting, rows/s | EM, rows/s |\n| --- | ---: | ---: |")
        learning, expected = timed(lambda: learn_alone(net, path))
        iterating, expected_loglik = timed(lambda: em_alone(net, path))
        report("one process", rows, learning, iterating)
        for workers in (1, 2):
            session = start_spark(workers)
            frame = session.read.parquet(path)
            frame.count()  # workers are there
            learning, found = timed(lambda: learn(net, frame))
            check(found == expected, "tables")
            iterating, loglik = timed(lambda: em(net, frame))
            check(abs(loglik - expected_loglik) <= AGREEMENT * abs(expected_loglik), "log likelihoods")
            report(f"{workers} worker{'s' * (workers > 1)}", rows, learning, iterating)
            if workers == 2:
                mark = os.path.join(folder, "died")
                killed, found = timed(lambda: learn(net, dying_once(frame, mark, 3)))
                check(os.path.exists(mark) and found == expected, "tables with a worker killed")
                print(f"a worker killed: the same tables, after {killed:.1f} s instead of {learning:.1f} s")
            session.stop()
        print(f"log likelihood {expected_loglik:.3f}, by Spark off by {abs(loglik / expected_loglik - 1):.1e}")


if __name__ == "__main__":
    main()
