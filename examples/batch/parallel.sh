#!/bin/sh
# SPDX-License-Identifier: MIT
# Four shards, two at a time; what has failed or was interrupted goes on when this is started again.
seq 0 3 | parallel --joblog parallel.log --resume-failed --jobs 2 \
  tovkit batch jobs.jsonl --jobs 1 --directory out --shard {}/4 --results results.{}.jsonl --resume
