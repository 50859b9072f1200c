#!/bin/bash
# Runs the Windows programs of the cross build under Wine, in a private prefix that one test run
# shares.
#
#   wine-run.sh --setup BUILD_DIR     make a fresh prefix in BUILD_DIR/wine-prefix, start its server
#   wine-run.sh --cleanup BUILD_DIR   end that server and remove the prefix
#   wine-run.sh PROGRAM [ARGS...]     run PROGRAM in the prefix of the build tree that holds it
#
# CTest calls the first two as the set-up and clean-up of a fixture that every test of the Windows
# build requires, and the third as the cross-compiling emulator. Run by hand on a build tree with
# no prefix, the third makes one first (and leaves it there; --cleanup removes it).
#
# Environment: ZELK_WINE (default /usr/lib/wine/wine64), ZELK_WINESERVER (default
# /usr/lib/wine/wineserver64), ZELK_MINGW_CXX (default x86_64-w64-mingw32-g++-posix), used to find
# the compiler's runtime DLLs (libstdc++, libgcc_s_seh, libwinpthread), which Wine finds through
# WINEPATH. ZELK_WINEPREFIX overrides the prefix location.
set -euo pipefail

wine=${ZELK_WINE:-/usr/lib/wine/wine64}
export WINESERVER=${ZELK_WINESERVER:-/usr/lib/wine/wineserver64}
export WINEDEBUG=-all
# No Mono, no Gecko and no desktop menu entries in a prefix that lives for one test run.
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
export WINEARCH=win64
unset DISPLAY

die() {
    echo "wine-run.sh: $*" >&2
    exit 2
}

# The build tree that holds a path: the nearest directory upwards with a CMakeCache.txt.
build_dir_of() {
    local dir
    dir=$(cd "$(dirname "$1")" && pwd)
    while [[ "$dir" != / ]]; do
        if [[ -f "$dir/CMakeCache.txt" ]]; then
            echo "$dir"
            return 0
        fi
        dir=$(dirname "$dir")
    done
    return 1
}

prefix_of() {
    if [[ -n "${ZELK_WINEPREFIX:-}" ]]; then
        echo "$ZELK_WINEPREFIX"
    else
        echo "$1/wine-prefix"
    fi
}

# A Unix directory as Wine sees it: the Z: drive maps the Unix root.
windows_dir() {
    local dir
    dir=$(cd "$1" && pwd)
    echo "Z:${dir//\//\\}"
}

# The directories of the compiler's runtime DLLs, in the form WINEPATH takes.
runtime_path() {
    local cxx=${ZELK_MINGW_CXX:-x86_64-w64-mingw32-g++-posix}
    local path="" dll file
    for dll in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
        file=$("$cxx" -print-file-name="$dll")
        [[ -f "$file" ]] || die "$dll not found through $cxx"
        path+="${path:+;}$(windows_dir "$(dirname "$file")")"
    done
    echo "$path"
}

make_prefix() {
    local prefix=$1
    rm -rf "$prefix"
    mkdir -p "$prefix"
    export WINEPREFIX=$prefix
    # A server that outlives each test by a minute keeps the prefix warm between tests; the
    # clean-up ends it at once. It and the services that wineboot starts must not hold the
    # caller's output open (CTest waits for that output to close).
    "$WINESERVER" -p60 </dev/null >/dev/null 2>&1
    "$wine" wineboot --init </dev/null >/dev/null 2>&1 || die "wineboot failed in $prefix"
    touch "$prefix/zelk-prefix-ready"
}

case "${1:-}" in
--setup)
    [[ $# -eq 2 ]] || die "usage: wine-run.sh --setup BUILD_DIR"
    [[ -x "$wine" ]] || die "$wine not found (Debian package wine64)"
    prefix=$(prefix_of "$2")
    if [[ -d "$prefix" ]]; then
        WINEPREFIX=$prefix "$WINESERVER" -k 2>/dev/null || true
    fi
    make_prefix "$prefix"
    echo "Wine prefix ready: $prefix"
    ;;
--cleanup)
    [[ $# -eq 2 ]] || die "usage: wine-run.sh --cleanup BUILD_DIR"
    prefix=$(prefix_of "$2")
    if [[ -d "$prefix" ]]; then
        WINEPREFIX=$prefix "$WINESERVER" -k 2>/dev/null || true
        WINEPREFIX=$prefix "$WINESERVER" -w 2>/dev/null || true
        rm -rf "$prefix"
    fi
    echo "Wine prefix removed: $prefix"
    ;;
"" | -*)
    die "usage: wine-run.sh PROGRAM [ARGS...] | --setup BUILD_DIR | --cleanup BUILD_DIR"
    ;;
*)
    program=$1
    shift
    [[ -f "$program" ]] || die "no such program: $program"
    build=$(build_dir_of "$program") || die "$program is not inside a CMake build tree"
    prefix=$(prefix_of "$build")
    if [[ ! -f "$prefix/zelk-prefix-ready" ]]; then
        # Run by hand without the fixture: make the prefix once, under a lock.
        exec 9>"$build/wine-prefix.lock"
        flock 9
        [[ -f "$prefix/zelk-prefix-ready" ]] || make_prefix "$prefix"
        flock -u 9
    fi
    export WINEPREFIX=$prefix
    WINEPATH="$(windows_dir "$(dirname "$program")");$(runtime_path)"
    export WINEPATH
    # GoogleTest takes a path without a drive as relative to its working directory: give the
    # absolute Unix path of a report its Z: drive.
    args=()
    for arg in "$@"; do
        if [[ "$arg" =~ ^(--gtest_output=[a-z]+:)(/.*)$ ]]; then
            arg="${BASH_REMATCH[1]}Z:${BASH_REMATCH[2]}"
        fi
        args+=("$arg")
    done
    exec "$wine" "$program" "${args[@]}"
    ;;
esac
