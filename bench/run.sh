#!/usr/bin/env bash
# All benchmarks, each beside its peers in the same run; the last of them writes docs/performance.md.
# Needs some 6 GB in /dev/shm, and two hours on two cores.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$(mktemp -d /dev/shm/xvwriter-bench-XXXXXX)
disk=$(mktemp -d build/bench-XXXXXX)
trap 'rm -rf "$folder" "$disk"' EXIT
build/release/bin/bench_node_tree
build/release/bin/bench_queue_depth "$folder/queue.mpg"
build/release/bin/bench_hardware_plug "$folder/plug.mp4"
build/release/bin/bench_kernels
python3 bench/compare.py build/release/bin/xvrecord "$folder" "$@"
echo "On disk:"
python3 bench/compare.py build/release/bin/xvrecord "$disk" 4 3 "raw UYVY"
/usr/bin/python3 bench/report.py build/release/bin "$folder" docs
