#!/bin/bash
# Runs every test of zelk: a clang-format check of the tree, then the development build
# (build/dev), the sanitizer build (build/check) and the Windows build under Wine (build/windows),
# each configured, built and tested through its CMake preset. Installs what is missing on a
# Debian 12 machine first. Prints a summary per build and closes with "N passed, M failed", the
# test cases of all builds together; exits non-zero if anything failed.
set -uo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
. scripts/common.sh

set -e
ensure_packages "${ZELK_LINUX_PACKAGES[@]}" "${ZELK_WINDOWS_PACKAGES[@]}" clang-format
set +e

mkdir -p build
# Whatever happens, no Wine server of the Windows build outlives this script.
trap 'cmake/wine-run.sh --cleanup "$root/build/windows" >/dev/null 2>&1 || true' EXIT

total_passed=0
total_failed=0
total_skipped=0
summaries=()

add_result() { # name passed failed skipped
    total_passed=$((total_passed + $2))
    total_failed=$((total_failed + $3))
    total_skipped=$((total_skipped + $4))
    summaries+=("$(printf '%-13s %4d passed, %d failed, %d skipped' "$1:" "$2" "$3" "$4")")
}

format_check() {
    echo "== clang-format"
    local files
    mapfile -t files < <(find include source tests examples bench -type f \
        \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' \) | sort)
    local log=build/clang-format.log
    if clang-format --dry-run --Werror "${files[@]}" >"$log" 2>&1; then
        echo "${#files[@]} files formatted as .clang-format says"
        add_result clang-format 1 0 0
    else
        echo "Files that differ from .clang-format (clang-format -i FILE to fix):"
        grep -o '^[^:]*:[0-9]*:[0-9]*: error' "$log" | cut -d: -f1 | sort -u | sed 's/^/  /'
        add_result clang-format 0 1 0
    fi
}

run_build() { # preset
    local preset=$1 dir=build/$1 log=build/$1.log started=$SECONDS
    echo
    echo "== $preset build ($dir, log: $log)"
    : >"$log"
    if ! run_logged "$log" cmake --preset "$preset" ||
        ! run_logged "$log" cmake --build --preset "$preset"; then
        echo "$preset: configure or build failed"
        add_result "$preset" 0 1 0
        return
    fi
    echo "built in $((SECONDS - started)) s"
    rm -rf "$dir/test-results"
    ctest --preset "$preset"
    local status=$?
    local counts failures
    counts=$(cmake -DBUILD_DIR="$dir" -P scripts/count-results.cmake 2>&1)
    failures=$(grep -v '^counts ' <<<"$counts")
    [[ -z "$failures" ]] || echo "$failures"
    read -r _ passed failed skipped < <(grep '^counts ' <<<"$counts" || echo "counts 0 1 0")
    if [[ $status -ne 0 && $failed -eq 0 ]]; then
        echo "$preset: ctest failed (exit $status) with no failed case counted"
        failed=1
    fi
    add_result "$preset" "$passed" "$failed" "$skipped"
    echo "$preset done in $((SECONDS - started)) s"
}

format_check
run_build dev
run_build check
run_build windows

echo
echo "== Summary"
printf '%s\n' "${summaries[@]}"
if [[ $total_skipped -gt 0 ]]; then
    echo "$total_skipped skipped in all"
fi
echo "$total_passed passed, $total_failed failed"
[[ $total_failed -eq 0 ]]
