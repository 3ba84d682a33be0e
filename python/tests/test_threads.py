# SPDX-License-Identifier: MIT
"""Threads, and processes that are forked or started anew."""

from __future__ import annotations

import concurrent.futures
import hashlib
import multiprocessing
import threading
import time

import numpy as np
import pytest

import tovkit
from tovkit import jobs

SQUARE = "M 0 0 H 10 V 10 H 0 Z"


def page(number: int) -> str:
    """The hash of a page that only this number makes."""
    lines = [{"Content": f"Line {line} of page {number}, 第 {number} 页", "DeltaY": line * 30,
              "Font": {"FontSize": 10 + (number + line) % 20}} for line in range(12)]
    drawn = tovkit.draw(lines, size=(600, 400))
    return hashlib.sha256(drawn.resize("50%").to_bytes("png")).hexdigest()


def hits(number: int) -> int:
    points = np.random.default_rng(number).uniform(-5, 15, (20_000, 2))
    return int(tovkit.hit_test(SQUARE, points, fill=True).sum())


def everything(number: int) -> tuple[str, int, list[bool] | None]:
    job = {"id": str(number), "hit": {"path": SQUARE, "points": [[5, number]], "fill": True}}
    return page(number), hits(number), [result.hits for result in jobs.map([job], workers=1)][0]


def test_eight_threads_draw_what_one_draws() -> None:
    wanted = [(page(i), hits(i)) for i in range(16)]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        assert list(pool.map(lambda i: (page(i), hits(i)), range(16))) == wanted


def test_one_image_is_read_by_many_threads() -> None:
    image = tovkit.draw({"Content": "Hello"}, size=(500, 300))
    wanted = image.to_bytes("png")
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        assert set(pool.map(lambda _: image.to_bytes("png"), range(32))) == {wanted}


@pytest.mark.parametrize("work", [
    lambda: tovkit.draw([{"Content": str(i), "DeltaY": i} for i in range(3000)], size=(3000, 3000)).to_bytes("png"),
    lambda: tovkit.hit_test(SQUARE, np.zeros((4_000_000, 2))),
    lambda: tovkit.Image.fromarray(np.zeros((4000, 4000, 3), np.uint8)).resize("90%"),
])
def test_other_threads_run_meanwhile(work: object) -> None:
    """The lock is released: another thread counts on while a long call runs."""
    assert callable(work)
    counted, stop = [], threading.Event()

    def count() -> None:
        while not stop.is_set():
            counted.append(time.monotonic())
            time.sleep(0)

    thread = threading.Thread(target=count)
    thread.start()
    try:
        start = time.monotonic()
        work()
        end = time.monotonic()
    finally:
        stop.set()
        thread.join()
    # With the lock held all along, there would be no tick between the first and the last moment.
    within = [tick for tick in counted if start + (end - start) / 4 < tick < end - (end - start) / 4]
    assert within, f"nothing ran in {end - start:.3f} s"


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_processes_of_multiprocessing(method: str) -> None:
    wanted = [everything(i) for i in range(4)]  # so that caches and the executor were in use before
    with multiprocessing.get_context(method).Pool(2) as pool:
        assert pool.map(everything, range(4)) == wanted


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_processes_of_concurrent_futures(method: str) -> None:
    wanted = [everything(i) for i in range(4)]
    context = multiprocessing.get_context(method)
    with concurrent.futures.ProcessPoolExecutor(2, mp_context=context) as pool:
        assert list(pool.map(everything, range(4))) == wanted


def test_a_fork_in_the_middle_of_a_batch_ends_as_it_should() -> None:
    job = {"hit": {"path": SQUARE, "points": [[5, 5]], "fill": True}}
    results = jobs.map(({"id": str(i), **job} for i in range(500)), workers=1)
    next(results)
    child = multiprocessing.get_context("fork").Process(target=results.close)  # type: ignore[attr-defined]
    child.start()
    child.join(60)
    assert child.exitcode == 0
    assert len(list(results)) == 499
