#!/bin/sh
# SPDX-License-Identifier: MIT
# Four shards, two at a time.
seq 0 3 | xargs -P 2 -I '{}' \
  tovkit batch jobs.jsonl --jobs 1 --directory out --shard '{}/4' --results 'results.{}.jsonl' --resume
