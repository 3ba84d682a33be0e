# SPDX-License-Identifier: MIT
"""Labels in worker processes: a bad job costs itself and no other."""
from tovkit import jobs

labels = [{"id": f"{i:03}", "draw": {"Content": f"Label {i}", "DeltaX": 16}, "size": "200x60", "out": f"{i:03}.png"}
          for i in range(100)]
labels[7]["size"] = "none"

for result in jobs.map(labels, workers=2, directory="labels", ordered=True):
    if result.state != "done":
        print(result.id, result.state, result.message)
