"""Threads, Ctrl-C, progress, forks: what goes on around calls."""

from __future__ import annotations

import _thread
import os
import pathlib
import re
import signal
import subprocess
import sys
import textwrap
import threading
import time

import bravic
import numpy as np
import pytest
from conftest import random_net


def hard_net(seed: int = 1, size: int = 14) -> bravic.Net:
    """A grid, for whose elimination orders one can search for ever."""
    net = bravic.Net("Grid")
    rng = np.random.default_rng(seed)
    for y in range(size):
        for x in range(size):
            parents = [f"N{a}_{b}" for a, b in ((x - 1, y), (x, y - 1)) if a >= 0 and b >= 0]
            net.add_node(f"N{x}_{y}", 2, parents=parents, table=rng.dirichlet([1, 1], size=[2] * len(parents)))
    return net


def test_ctrl_c_halts_and_leaves_nothing_behind() -> None:
    net = hard_net()
    net.compile()
    timer = threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT))
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        net.find_order(60)
    assert len(net) == 196 and net.probability == pytest.approx(1)


def test_exceptions_of_listeners_come_out_and_calls_from_them_are_refused() -> None:
    net = hard_net()
    seen: list = []

    def listener(what: str, done: float, seconds: float) -> bool:
        with pytest.raises(bravic.Error) as info:
            bravic.Net("Within")
        seen.append((what, done, info.value.number))
        raise LookupError("mine")

    bravic.set_progress(listener)
    with pytest.raises(LookupError, match="mine"):
        net.find_order(60)
    assert seen and isinstance(seen[0][0], str) and 0 <= seen[0][1] <= 1 and seen[0][2] == 5114
    bravic.set_progress(lambda what, done, seconds: True)
    net.find_order(60)  # halted, it keeps the best so far


def test_a_bar_shows_how_far_it_is_and_goes(capsys: pytest.CaptureFixture[str]) -> None:
    pytest.importorskip("tqdm")
    net = hard_net()
    bravic.set_progress(True)
    for _ in range(2):
        net.find_order(3)
        shown = capsys.readouterr().err
        shares = [int(share) for share in re.findall(r"(\d+)%\|", shown)]
        assert shares and shares == sorted(shares) and shares[-1] <= 100, shown
        assert shown.rsplit("\r", 1)[1] == "", "the bar is wiped away"


def test_nets_that_go_within_a_callback_are_freed_later() -> None:
    net = hard_net()
    held = [bravic.Net("Held")]

    def listener(what: str, done: float, seconds: float) -> bool:
        held.clear()
        return True

    bravic.set_progress(listener)
    try:
        net.find_order(60)
    except bravic.Error:
        pass
    assert not held and len(bravic.Net("After")) == 0


def test_threads_take_turns_and_others_run_meanwhile() -> None:
    answers: dict[int, list] = {}
    nets = [random_net(np.random.default_rng(i), 12) for i in range(4)]
    expected = [list(net.beliefs().items()) for net in nets]
    shared = random_net(np.random.default_rng(9), 8)

    def work(i: int) -> None:
        for _ in range(100):
            nets[i].retract()
            with nets[i].given(N0=0):
                nets[i].beliefs()
            answers[i] = list(nets[i].beliefs().items())
            with shared.change():
                shared["N1"].title = str(i)
                assert shared["N1"].title == str(i)
            bravic.Net("Gone")

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert [answers[i] for i in range(4)] == expected

    ticks = []
    long = threading.Thread(target=lambda: hard_net(2).find_order(0.6))
    long.start()
    while long.is_alive():
        ticks.append(time.monotonic())
        time.sleep(0.005)
    assert len(ticks) > 20, "the interpreter lock is not held by long calls"


def test_waiting_for_the_library_can_be_interrupted() -> None:
    bravic.set_progress(False)
    net = hard_net(3)
    halt = threading.Event()
    bravic.set_progress(lambda what, done, seconds: halt.is_set())

    def search() -> None:
        try:
            net.find_order(60)
        except bravic.Error:
            pass

    thread = threading.Thread(target=search)
    thread.start()
    time.sleep(0.2)
    threading.Timer(0.2, _thread.interrupt_main).start()
    end = time.monotonic() + 30
    with pytest.raises(KeyboardInterrupt):
        while time.monotonic() < end:
            bravic.Net("Waiting")
            time.sleep(0.01)
    halt.set()
    thread.join(30)
    assert not thread.is_alive()


def test_children_of_a_fork_can_work(tmp_path: pathlib.Path) -> None:
    code = """
        import multiprocessing, bravic
        net = bravic.Net(); net.add_node("A", 2, table=[0.25, 0.75])
        def ask(i): return net["A"].beliefs.tolist()
        with multiprocessing.get_context("fork").Pool(2) as pool:
            assert pool.map(ask, range(4)) == [[0.25, 0.75]] * 4
    """
    subprocess.run([sys.executable, "-W", "ignore", "-c", textwrap.dedent(code)], check=True, timeout=60, cwd=tmp_path)


def test_nets_alive_at_exit_say_nothing(tmp_path: pathlib.Path) -> None:
    code = "import bravic; net = bravic.Net(); node = net.add_node('A', 2); print(bravic.__version__)"
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True, timeout=60, cwd=tmp_path)
    assert done.stderr == "" and done.stdout.strip() == bravic.__version__
