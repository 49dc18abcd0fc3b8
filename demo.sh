#!/bin/bash
# Builds the library and tells a story on real processes: one manager at its prompt against three
# owners of real applications. With the argument "library" it is the example manager against example
# owners, with system events from a fourth to two managers and the logs of both ends beside it.
#
#   demo.sh [library]
#
# Installs what is missing (as root), works in a temporary directory, and leaves nothing behind. Builds
# there, or in $OWNERLINK_BUILD, where the build then stays. Exits non-zero when something came out
# otherwise than expected.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build=${OWNERLINK_BUILD:-$work/build}
case ${1:-} in
library)
    options=(-DOWNERLINK_BUILD_EXAMPLES=ON -DOWNERLINK_BUILD_TOOLS=OFF)
    story=("$root/examples/story" "$build/examples" "$work")
    ;;
*)
    options=(-DOWNERLINK_BUILD_EXAMPLES=OFF -DOWNERLINK_BUILD_TOOLS=ON)
    story=("$root/examples/owners-story" "$build" "$work")
    ;;
esac
if [ -n "${OWNERLINK_BUILD:-}" ]; then
    options+=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
else
    # Built in less time; and a warning is not the reader's.
    options+=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DOWNERLINK_WERROR=OFF)
fi

"$root/scripts/install-packages" build
echo "Building the library and the programs in $build; this takes some minutes ..."
cmake -S "$root" -B "$build" -G Ninja -DBUILD_TESTING=OFF "${options[@]}" \
    >"$work/build.log" 2>&1 && ninja -C "$build" >>"$work/build.log" 2>&1 || {
    grep -E -A12 'error|FAILED' "$work/build.log" | head -n 40 || tail -n 40 "$work/build.log"
    echo "demo: the build failed" >&2
    exit 1
}

cat >"$work/owners.yaml" <<'YAML'
datamaster: {OsType: 0, GroupOwner: 0, SecVfs: "dp:/res/demo/datamaster"}
iam: {OsType: 0, GroupOwner: 1, SecVfs: "dp:/res/demo/iam"}
appmgr: {OsType: 0, GroupOwner: 2, SecVfs: "dp:/res/demo/appmgr"}
YAML
"$root/scripts/with-config" "$work/owners.yaml" "${story[@]}"
