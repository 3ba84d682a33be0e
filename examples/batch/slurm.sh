#!/bin/sh
# SPDX-License-Identifier: MIT
#SBATCH --job-name=labels
#SBATCH --array=0-3
#SBATCH --ntasks=1
#SBATCH --requeue
# With exec, scancel and the end of the time reach the batch, which finishes what runs and stops.
exec tovkit batch jobs.jsonl --jobs "${SLURM_CPUS_PER_TASK:-1}" --directory out \
  --shard auto --results 'results.{shard}.jsonl' --resume
