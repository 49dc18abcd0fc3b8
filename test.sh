#!/bin/bash
# Builds the library with its tests and runs them all: units against the platform's double, and real
# processes over real sockets. Installs what is missing (as root), works in a temporary directory,
# and leaves nothing behind.
#
#   test.sh [PRESET [DIRECTORY]]     dev (the default), clang, release, asan, tsan or coverage
#
# With a directory it builds there, and the build stays. With the preset `coverage` it also prints
# how much of each folder the tests have run, and too little of the core counts as a failure. The last
# line says how many tests passed and failed.
set -uo pipefail
root=$(cd "$(dirname "$0")" && pwd)
preset=${1:-dev}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"  # one test's application runs as another user
export TMPDIR=$work
build=$(realpath -m "${2:-$work/build}")

packages=ci
[ "$preset" != dev ] || packages=test
"$root/scripts/install-packages" "$packages" || exit 1

echo "Building the tests ($preset) in $build; this takes some minutes ..."
if ! cmake -S "$root" --preset "$preset" -B "$build" -DOWNERLINK_BUILD_BENCH=OFF \
    >"$work/build.log" 2>&1 || ! ninja -C "$build" >>"$work/build.log" 2>&1; then
    grep -E -A12 'error|FAILED' "$work/build.log" | head -n 80
    echo "test: the build failed" >&2
    echo "0 passed, 1 failed"
    exit 1
fi

# ThreadSanitizer has a process with threads left sleep at its exit, for a second by default.
export TSAN_OPTIONS="atexit_sleep_ms=20${TSAN_OPTIONS:+:$TSAN_OPTIONS}"

# More at once than there are processors, since most of those with several processes wait for one.
echo "Running the tests ..."
ctest --test-dir "$build" --output-on-failure --no-tests=error -j "$((3 * $(nproc)))" \
    >"$work/test.log" 2>&1
status=$?
if [ "$status" -ne 0 ]; then
    grep -v -E '^ *[0-9]+/[0-9]+ Test +#.* Passed|^ *Start ' "$work/test.log" | tail -n 400
fi
summary=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$work/test.log")
failed=$(sed -E 's/.*passed, ([0-9]+) tests failed out of ([0-9]+).*/\1/' <<<"$summary")
total=$(sed -E 's/.*passed, ([0-9]+) tests failed out of ([0-9]+).*/\2/' <<<"$summary")
passed=$((${total:-0} - ${failed:-0}))
failed=${failed:-1}
if [ "$preset" = coverage ]; then
    if "$root/scripts/coverage" "$build"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1)) status=1
    fi
fi
echo "$passed passed, $failed failed"
exit "$status"
