# SPDX-License-Identifier: MIT
"""Every label is drawn once, as one process draws it, though a worker is killed in the middle."""
import os
import pathlib
import signal
import sys
import time

from dask.distributed import Client, LocalCluster
from dask_labels import draw_labels, label
from tovkit import jobs


def files(folder):
    return {str(file.relative_to(folder)): file.read_bytes() for file in pathlib.Path(folder).rglob("*.png")}


def main(count):
    with LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None) as cluster:
        with Client(cluster) as client:
            pids = client.run(os.getpid)
            pending = draw_labels(client, count, "out")
            while len(files("out")) < count // 10:
                time.sleep(0.01)
            assert not pending.done()
            os.kill(next(iter(pids.values())), signal.SIGKILL)
            results = pending.result(timeout=240)
            assert set(client.run(os.getpid).values()) != set(pids.values()), "no worker was killed"
    assert sorted((int(result.id), result.state) for result in results) == [(i, "done") for i in range(count)]
    for number in range(count):
        jobs.run(label(number), directory="alone")
    assert files("out") == files("alone")
    print(f"Dask: {count} jobs done once, a worker killed, outputs equal")


if __name__ == "__main__":
    main(int(sys.argv[1]))
