# SPDX-License-Identifier: MIT
"""Jobs: draw, image and hit as dicts, one in this process or many in worker processes.

A job has an "id", what its kind needs, and "out", the name of its output below a folder; it is what a line of
a file for ``tovkit batch`` is.

>>> import tempfile
>>> from tovkit import jobs
>>> with tempfile.TemporaryDirectory() as folder:
...     labels = ({"id": str(i), "draw": {"Content": f"Label {i}"}, "out": f"{i}.png"} for i in range(3))
...     sorted(result.output for result in jobs.map(labels, workers=2, directory=folder))
['0.png', '1.png', '2.png']
"""

from __future__ import annotations

import json
import os
from collections.abc import Iterable, Iterator, Mapping, Sized
from dataclasses import dataclass, field
from typing import Any, Union

from . import _tovkit
from ._errors import Error, FileError, InputError, LimitError

__all__ = ["JobError", "Result", "map", "run"]

Job = Union[str, Mapping[str, Any]]
_Path = Union[str, "os.PathLike[str]"]

_AHEAD = 256  # jobs that are handed over for each worker before a result is waited for


class JobError(Error):
    """A job that failed: ``result`` tells of it. It is a LimitError, an InputError or a FileError as well, by
    the kind of the failure.

    >>> from tovkit import jobs
    >>> try:
    ...     jobs.run({"id": "1", "draw": {"Content": "a"}, "out": "1.xyz"})
    ... except jobs.JobError as error:
    ...     print(error.result.id, error.result.kind, isinstance(error, ValueError))
    1 input True
    """

    result: Result

    def __init__(self, result: Result) -> None:
        super().__init__(result.message)
        self.result = result

    def __reduce__(self) -> tuple[Any, tuple[Result]]:
        return _error_of, (self.result,)


class _FailedInput(JobError, InputError):
    pass


class _FailedLimit(JobError, LimitError):
    pass


class _FailedOutput(JobError, FileError):
    pass


def _error_of(result: Result) -> JobError:
    kinds = {"input": _FailedInput, "limit": _FailedLimit, "deadline": _FailedLimit, "output": _FailedOutput}
    return kinds.get(result.kind, JobError)(result)


@dataclass(frozen=True)
class Result:
    """What became of a job.

    ``state`` is "done", "failed" or "quarantined" (it ended two workers, or was late twice). ``output`` is the
    name of the file that was written, ``bytes`` its size, ``output_sha256`` its hash and ``job_sha256`` that
    of the job. ``seconds``, ``attempts`` and ``worker`` tell what it took. Of a failure there are ``kind``
    ("input", "limit", "output", "deadline" or "crash") and ``message``. ``warnings`` are filled with
    ``report``; ``hits`` are the answers of a hit test.

    >>> from tovkit import jobs
    >>> jobs.run({"id": "1", "hit": {"path": "M 0 0 L 10 0", "points": [[5, 0.5], [5, 5]]}}).hits
    [True, False]
    """

    id: str
    state: str
    output: str = ""
    bytes: int = 0
    job_sha256: str = ""
    output_sha256: str = ""
    seconds: float = 0.0
    attempts: int = 1
    worker: int = 0
    kind: str = ""
    message: str = ""
    warnings: list[str] = field(default_factory=list)
    hits: list[bool] | None = None

    def check(self) -> Result:
        """Returns the result of a job that is done.

        Raises JobError for any other.

        >>> from tovkit import jobs
        >>> jobs.Result("1", "done").check().id
        '1'
        """
        if self.state != "done":
            raise _error_of(self)
        return self


def _result_of(line: str) -> Result:
    values = json.loads(line)
    for name in ("job", "output"):
        if f"{name}Sha256" in values:
            values[f"{name}_sha256"] = values.pop(f"{name}Sha256")
    return Result(**values)


def _line_of(job: Job) -> str:
    if isinstance(job, str):
        line = job.replace("\r", " ").replace("\n", " ")
        if not line.strip():
            raise InputError("job: empty, where a JSON object is expected")
        return line
    if not isinstance(job, Mapping):
        raise TypeError(f"job must be a dict or a str, not {type(job).__name__}")
    try:
        return json.dumps(job if isinstance(job, dict) else dict(job), allow_nan=False, separators=(",", ":"))
    except TypeError as error:
        raise TypeError(f"job: {error}") from None
    except ValueError as error:
        raise InputError(f"job: {error}") from None


def run(job: Job, *, directory: _Path = ".", input: _Path | None = None, fonts: _Path | Iterable[_Path] = (),
        report: bool = False) -> Result:
    """Runs one job in this process and returns its Result.

    ``job`` is a dict or a JSON text; one without an "id" has the id "". Its output goes below ``directory``,
    which is made if it is not there; files that it reads are below ``input``, without which there are none.
    ``fonts`` are files to draw with beside the installed ones. With ``report`` the result has warnings.

    Raises JobError for a job that fails, TypeError, ValueError for a job that is no JSON.

    >>> import tempfile
    >>> from tovkit import jobs
    >>> with tempfile.TemporaryDirectory() as folder:
    ...     jobs.run({"id": "7", "draw": {"Content": "Hello"}, "out": "7.png"}, directory=folder).state
    'done'
    """
    line = _line_of(job)
    os.makedirs(directory, exist_ok=True)
    result = _result_of(_tovkit.run_job(line, directory, input, fonts, report))
    if not result.id:
        result = _with_id(result, line)
    return result.check()


def _with_id(result: Result, line: str) -> Result:
    """In this process nobody has read the id of the job."""
    import dataclasses

    try:
        name = json.loads(line).get("id", "")
    except (ValueError, AttributeError):
        name = ""
    return dataclasses.replace(result, id=name if isinstance(name, str) else "")


def map(jobs: Iterable[Job], *, workers: int | None = None, directory: _Path = ".", input: _Path | None = None,
        fonts: _Path | Iterable[_Path] = (), report: bool = False, timeout: float = 60, memory: int = 1 << 30,
        recycle: int = 10000, ordered: bool = False, progress: bool = False) -> Iterator[Result]:
    """Runs many jobs in worker processes and yields a Result for each, as they come.

    A worker is a process that is started once. A job that crashes it, or takes longer than ``timeout``
    seconds, costs itself: it is tried once more and then quarantined. So failures are results here; call
    ``check()`` on a result to have an exception.

    ``jobs`` is read as workers need it, by the thread that asks for results, so it may be endless; no two
    jobs may have the same "id" or "out". ``workers``, 1 to 1024, is one for each processor by default.
    ``memory`` is the address space of a worker in bytes, 64 MiB and more or 0 for no limit, ``recycle``
    the number of jobs after which it is replaced, 0 for never. With ``ordered`` results come in the order of
    the jobs. With ``progress`` tqdm shows how far it is, where it is installed. The other parameters are
    those of ``run``.

    Closing the iterator, or letting go of it, ends the workers.

    Raises FileError (an OSError) when a folder is missing or workers cannot be started, ValueError for
    numbers out of range, TypeError; what reading ``jobs`` raises ends the batch.

    >>> from tovkit import jobs
    >>> square = {"path": "M 0 0 H 9 V 9 H 0 Z", "points": [[4, 5]], "fill": True}
    >>> [result.hits for result in jobs.map([{"id": "a", "hit": square}], workers=1)]
    [[True]]
    """
    os.makedirs(directory, exist_ok=True)
    batch = _tovkit.batch(workers, directory, input, fonts, report, timeout, memory, recycle, ordered)
    results = _results(batch, iter(jobs), _AHEAD * (workers or os.cpu_count() or 1))
    return _shown(results, jobs) if progress else results


def _results(batch: _tovkit.Batch, jobs: Iterator[Job], ahead: int) -> Iterator[Result]:
    waiting = 0
    more = True
    try:
        while True:
            while more and waiting < ahead:
                job = next(jobs, None)
                more = job is not None
                if job is not None:
                    batch.put(_line_of(job))
                    waiting += 1
            if not waiting:
                return
            line = batch.next()
            if line is None:
                return
            waiting -= 1
            yield _result_of(line)
    finally:
        batch.stop()


def _shown(results: Iterator[Result], jobs: Iterable[Job]) -> Iterator[Result]:
    try:
        from tqdm import tqdm
    except ImportError:
        return results
    total = len(jobs) if isinstance(jobs, Sized) else None
    return iter(tqdm(results, total=total, unit="job"))
