# SPDX-License-Identifier: MIT
"""Jobs in this process and in workers."""

from __future__ import annotations

import itertools
import json
import os
import pathlib
import pickle
import signal
import subprocess
import sys
import threading
from typing import Any

import pytest

import tovkit
from tovkit import jobs


def label(i: int, **more: Any) -> dict[str, Any]:
    return {"id": str(i), "draw": [{"Content": f"Label {i}", "DeltaX": 8}], "size": "160x50", "out": f"{i % 7}/{i}.png", **more}


def test_a_job_is_run_here(tmp_path: pathlib.Path) -> None:
    result = jobs.run(label(3), directory=tmp_path / "new")
    assert (result.id, result.state, result.output) == ("3", "done", "3/3.png")
    written = (tmp_path / "new" / "3/3.png").read_bytes()
    assert result.bytes == len(written)
    assert jobs.run(json.dumps(label(3), indent=1), directory=tmp_path).output_sha256 == result.output_sha256
    image = {"id": "s", "image": "3/3.png", "steps": [{"resize": "50%"}], "out": "small.png"}
    jobs.run(image, directory=tmp_path, input=tmp_path / "new")
    assert tovkit.Image.open(tmp_path / "small.png").size == (80, 25)


@pytest.mark.parametrize(("job", "kind", "message"), [
    ({"id": "1"}, ValueError, "no kind of job"), (label(1, out="../x.png"), tovkit.Error, "x.png"),
    (label(1, colors=1), ValueError, "colors"), (label(1, size="900000x9"), tovkit.LimitError, "too large"),
    ("{", ValueError, "job"), ("", ValueError, "empty"), ("[]", ValueError, "object"),
    ({"draw": float("nan")}, ValueError, "job: ")])
def test_a_job_that_fails_is_an_error(job: Any, kind: type[Exception], message: str, tmp_path: pathlib.Path) -> None:
    with pytest.raises(tovkit.Error, match=message) as caught:
        jobs.run(job, directory=tmp_path)
    assert isinstance(caught.value, kind)


def test_results_and_their_errors_survive_pickling(tmp_path: pathlib.Path) -> None:
    result = jobs.run(label(1), directory=tmp_path)
    assert pickle.loads(pickle.dumps(result)) == result
    with pytest.raises(jobs.JobError) as caught:
        jobs.run(label(1, size="x"), directory=tmp_path)
    again = pickle.loads(pickle.dumps(caught.value))
    assert type(again) is type(caught.value) and again.result == caught.value.result


def test_wrong_types_are_told(tmp_path: pathlib.Path) -> None:
    with pytest.raises(TypeError, match="^job must be"):
        jobs.run(3)  # type: ignore[arg-type]
    with pytest.raises(TypeError, match="^job: "):
        jobs.run({"a": object()})
    wrong: list[dict[str, Any]] = [{"workers": "2"}, {"timeout": "1"}, {"recycle": 1.5}, {"fonts": 3}, {"input": 3}]
    for arguments in wrong:
        with pytest.raises(TypeError, match=next(iter(arguments))):
            jobs.map([], directory=tmp_path, **arguments)
    wrong = [{"workers": 0}, {"timeout": 0}, {"memory": 1 << 20}, {"recycle": -1}, {"timeout": float("nan")}]
    for arguments in wrong:
        with pytest.raises(ValueError, match=next(iter(arguments))):
            jobs.map([], directory=tmp_path, **arguments)


def test_the_ends_of_ranges_are_taken(tmp_path: pathlib.Path) -> None:
    ends: list[dict[str, Any]] = [
        {"workers": 1}, {"timeout": 0.001}, {"timeout": 2e6}, {"memory": 0}, {"memory": 64 << 20},
        {"recycle": 0}, {"recycle": 2**31 - 1}]
    for arguments in ends:
        assert list(jobs.map([], directory=tmp_path, **arguments)) == []
    beyond: list[dict[str, Any]] = [
        {"workers": 0}, {"workers": 1025}, {"timeout": 0.0005}, {"timeout": 2.1e6}, {"memory": 1}, {"memory": (64 << 20) - 1},
        {"memory": -1}, {"recycle": -1}, {"recycle": 2**31}]
    for arguments in beyond:
        with pytest.raises(ValueError, match=next(iter(arguments))):
            jobs.map([], directory=tmp_path, **arguments)


@pytest.mark.parametrize("ordered", [False, True])
def test_workers_make_what_the_command_makes(ordered: bool, command: str, tmp_path: pathlib.Path) -> None:
    lines = "".join(json.dumps(label(i)) + "\n" for i in range(60))
    wanted = subprocess.run([command, "batch", "--jobs", "2", "--directory", tmp_path / "command"], input=lines, text=True,
                            check=True, capture_output=True).stdout.splitlines()
    found = list(jobs.map((label(i) for i in range(60)), workers=2, directory=tmp_path / "python", ordered=ordered))
    if ordered:
        assert [result.id for result in found] == [str(i) for i in range(60)]
    assert {r.id: r.output_sha256 for r in found} == {r["id"]: r["outputSha256"] for r in map(json.loads, wanted)}
    subprocess.run(["diff", "-r", tmp_path / "command", tmp_path / "python"], check=True)


def test_failures_are_results(tmp_path: pathlib.Path) -> None:
    results = {r.id: r for r in jobs.map([label(1), label(2, size="x"), label(1), label(9, out="1/1.png"), {"x": 1}],
                                         workers=2, directory=tmp_path, ordered=True)}
    assert {key: (r.state, r.kind) for key, r in results.items()} == {
        "1": ("done", ""), "2": ("failed", "input"), "line 3": ("failed", "input"), "9": ("failed", "input"),
        "line 5": ("failed", "input")}
    assert results["1"].check() is results["1"]
    with pytest.raises(jobs.JobError, match="size"):
        results["2"].check()


def test_jobs_are_read_as_they_are_needed(tmp_path: pathlib.Path) -> None:
    read = itertools.count()
    endless = ({"id": str(next(read)), "hit": {"path": "M 0 0 L 9 9", "points": [[1, 1]]}} for _ in itertools.repeat(0))
    results = jobs.map(endless, workers=1, directory=tmp_path)
    assert len({next(results).id for _ in range(1000)}) == 1000
    assert next(read) < 2000
    results.close()  # type: ignore[attr-defined]
    assert not children()


def children() -> list[int]:
    """Worker processes of this process that are there."""
    found = []
    for process in tovkit.processes():
        if process.name == "tovkit-job":
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            if f"PPid:\t{os.getpid()}\n" in status:
                found.append(process.pid)
    return found


def test_what_reading_jobs_raises_ends_the_batch(tmp_path: pathlib.Path) -> None:
    def broken() -> Any:
        yield label(1)
        raise KeyError("no more")

    with pytest.raises(KeyError, match="no more"):
        list(jobs.map(broken(), workers=1, directory=tmp_path))
    with pytest.raises(TypeError, match="^job must be"):
        list(jobs.map([3], workers=1, directory=tmp_path))  # type: ignore[list-item]
    assert not children()


def test_a_worker_that_is_killed_costs_nothing(tmp_path: pathlib.Path) -> None:
    results = jobs.map((label(i) for i in range(300)), workers=2, directory=tmp_path)
    found = [next(results)]
    for pid in children():
        os.kill(pid, signal.SIGKILL)
    found += results
    assert sorted(int(r.id) for r in found) == list(range(300))
    assert {r.state for r in found} == {"done"}
    assert not children()


def test_workers_that_do_not_answer_end_with_the_batch(tmp_path: pathlib.Path) -> None:
    jobs_without_end = (label(i) for i in itertools.count())
    results = jobs.map(jobs_without_end, workers=1, directory=tmp_path, timeout=3600)
    next(results)
    for pid in children():
        os.kill(pid, signal.SIGSTOP)
    closing = threading.Thread(target=results.close)  # type: ignore[attr-defined]
    closing.start()
    closing.join(60)
    ended = not closing.is_alive()
    for pid in children():
        os.kill(pid, signal.SIGKILL)
    closing.join()
    assert ended


def test_an_interruption_ends_a_batch(tmp_path: pathlib.Path) -> None:
    program = ("import itertools, sys; from tovkit import jobs\n"
               "hit = {'path': 'M 0 0', 'points': [[1, 1]]}\n"
               "for result in jobs.map(({'id': str(i), 'hit': hit} for i in itertools.count()), workers=1):\n"
               "    print(result.id, flush=True)\n")
    with subprocess.Popen([sys.executable, "-c", program], cwd=tmp_path, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as process:
        assert process.stdout is not None and process.stderr is not None
        process.stdout.readline()
        process.send_signal(signal.SIGINT)
        process.stdout.read()
        assert b"KeyboardInterrupt" in process.stderr.read()
    assert process.returncode != 0


def test_folders_that_are_missing_are_errors(tmp_path: pathlib.Path) -> None:
    with pytest.raises(OSError):
        list(jobs.map([label(1)], directory=tmp_path, input=tmp_path / "none"))
    (tmp_path / "file").touch()
    with pytest.raises(OSError):
        jobs.map([label(1)], directory=tmp_path / "file")


def test_progress_is_shown_by_tqdm(tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]) -> None:
    pytest.importorskip("tqdm")
    assert len(list(jobs.map([label(1), label(2)], workers=1, directory=tmp_path, progress=True))) == 2
    assert "2/2" in capsys.readouterr().err
