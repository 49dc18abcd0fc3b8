#!/bin/bash
# Measures the library beside its floors and peers, prints one table and draws docs/growth.svg anew.
# Installs what is missing (as root), works in a temporary directory, and leaves nothing else behind.
#
#   ./bench.sh [BUILD_DIRECTORY]     there, instead of in the temporary directory, the build stays
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build=${1:-$work/build}
export TMPDIR=$work

"$root/scripts/install-packages" bench
echo "Building the benchmarks in $build ..." >&2
cmake -S "$root" --preset release -B "$build" -DBUILD_TESTING=OFF -DOWNERLINK_BUILD_EXAMPLES=OFF \
    >"$work/build.log" 2>&1 && ninja -C "$build" ownerlink-bench >>"$work/build.log" 2>&1 || {
    tail -n 40 "$work/build.log"
    echo "bench: the build failed" >&2
    exit 1
}

"$build/bench/ownerlink-bench" owners >"$work/owners.yaml"
echo "Load before: $(cut -d' ' -f1-3 /proc/loadavg); about two and a half minutes, most for calls and events ..." >&2
"$root/scripts/with-config" "$work/owners.yaml" "$build/bench/ownerlink-bench"
echo "measuring: growth ..." >&2
"$root/scripts/with-config" "$work/owners.yaml" "$build/bench/ownerlink-bench" growth >"$work/growth"
echo
"$root/bench/plot-growth" "$root/docs/growth.svg" <"$work/growth"
echo "Load after: $(cut -d' ' -f1-3 /proc/loadavg)" >&2
