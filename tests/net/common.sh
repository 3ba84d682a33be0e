# SPDX-License-Identifier: MIT
# What the tests on clusters share: a folder of their own with 2,000 jobs, what one process makes of them, and the
# comparison with it. Sourced with BUILD, the build to test.
# shellcheck shell=bash
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
PATH=$(cd "$BUILD/cli" && pwd):$PATH
count=${COUNT:-2000}
scratch=$(mktemp -d)
cd "$scratch"

# Each job once, every output as one process makes it, and nothing else beside them.
check_batch() {
  local name=$1
  tovkit batch --merge results.*.jsonl > merged.jsonl
  python3 - "$count" <<'PYTHON'
import json, sys
states = [(line["id"], line["state"]) for line in map(json.loads, open("merged.jsonl"))]
count = int(sys.argv[1])
assert sorted(states) == sorted((str(i), "done") for i in range(count)), f"{len(states)} results"
PYTHON
  diff -rq once out
  echo "$name: $count jobs done once, outputs equal, $(cat results.*.jsonl | wc -l) lines of results"
}

python3 - "$count" > jobs.jsonl <<'PYTHON'
import json, sys
for i in range(int(sys.argv[1])):
    print(json.dumps({"id": str(i), "draw": [{"Content": f"Label {i}", "DeltaX": 16, "Font": {"FontSize": 22}}],
                      "size": "400x120", "out": f"{i % 20}/{i}.png"}))
PYTHON
tovkit batch jobs.jsonl --jobs 1 --directory once > once.jsonl
