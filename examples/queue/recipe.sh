#!/bin/sh
# SPDX-License-Identifier: MIT
# Two workers, and one who sends jobs and collects what becomes of them. The address of the broker is in a file that
# others may not read, or in TOVKIT_AMQP_URL.
tovkit worker --queue jobs --result-queue results --declare --inline --jobs 1 --idle-exit 20 &
tovkit worker --queue jobs --result-queue results --declare --inline --jobs 1 --idle-exit 20 &
tovkit submit jobs.jsonl --queue jobs --result-queue results --declare --directory out --results results.jsonl --resume
status=$?
wait
exit $status
