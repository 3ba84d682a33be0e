#!/bin/sh
# SPDX-License-Identifier: MIT
# A drawing that looks wrong, and the commands that tell why: examples/troubles.sh NAME [FOLDER FOR THE PICTURE]
# The names are those of the files in examples/troubles.
set -e
name=$1
out=$(cd "${2:-.}" && pwd)
cd "$(dirname "$0")/troubles"
case $name in clip) size=" --size 360x60" ;; *) size= ;; esac

# Shows the command as a person types it, with what it says. A command that fails is meant to.
show() {
  echo "\$ tovkit draw $name.json -o $name.png$*"
  # shellcheck disable=SC2048,SC2086 # words, on purpose
  LC_ALL=C.UTF-8 tovkit draw "$name.json" -o "$out/trouble_$name.png" $* 2>&1 || true
}
show "$size"
[ "$name" = json ] || show "$size --strict"
