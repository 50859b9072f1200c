#!/bin/bash
# Builds the zelk library (development build, build/dev) and runs the example program.
# Installs what is missing on a Debian 12 machine first.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
. scripts/common.sh

ensure_packages "${ZELK_LINUX_PACKAGES[@]}"

mkdir -p build
log=build/example.log
: >"$log"
echo "Building libzelk and the example program in build/dev (log: $log)"
run_logged "$log" cmake --preset dev
run_logged "$log" cmake --build --preset dev --target zelk_example
echo "Running build/dev/examples/zelk_example"
echo
exec build/dev/examples/zelk_example
