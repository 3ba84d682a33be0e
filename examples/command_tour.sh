#!/bin/sh
# SPDX-License-Identifier: MIT
# A tour of the command: examples/command_tour.sh [FOLDER FOR THE PICTURES]
set -e
here=$(dirname "$0")
out=${1:-.}

tovkit --version
tovkit draw "$here/hello.json" -o "$out/hello.png"                # one line of text, as large as it needs
tovkit image "$out/hello.png" -o "$out/hello.jpg" --quality 80    # the extension is the format
tovkit image --info "$out/hello.jpg" | head -n 1
printf 'tovkit' | tovkit base64
tovkit pages --count 12 '1,3-5,9'
echo 'M0 0 H10 V10 H0 Z' | tovkit hit - --point 5,5 --fill
tovkit run --timeout 5000 -- echo 'from a child'
