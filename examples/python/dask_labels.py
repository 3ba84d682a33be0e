# SPDX-License-Identifier: MIT
"""Labels on a cluster of Dask. A job is a dict and its result a record, so both travel; an output is written whole or not
at all and is the same whoever writes it, so a worker that dies costs the time of its jobs."""
from typing import Any

import dask.bag
from dask.distributed import Client, LocalCluster
from tovkit import jobs


def label(number: int) -> dict[str, Any]:
    return {"id": str(number), "draw": [{"Content": f"Label {number}", "DeltaX": 16, "Font": {"FontSize": 22}}],
            "size": "400x120", "out": f"{number % 20}/{number}.png"}


def draw_labels(client: Client, count: int, directory: str) -> Any:
    bag = dask.bag.from_sequence(map(label, range(count)), partition_size=50)
    return client.compute(bag.map(jobs.run, directory=directory))


if __name__ == "__main__":
    with LocalCluster(n_workers=2, threads_per_worker=1, host="127.0.0.1", dashboard_address=None) as cluster:
        with Client(cluster) as client:
            results = draw_labels(client, 1000, "out").result()
            print(len(results), "labels:", {result.state for result in results})
