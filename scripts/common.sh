# shellcheck shell=bash
# Shared by scripts/example.sh and scripts/test.sh: package installation and small helpers.
# Sourced, not run.

# Installs the Debian packages of the list that are not installed yet, after one apt-get update.
# Does nothing (and needs no network) when all of them are there.
ensure_packages() {
    local missing=() package
    for package in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$'; then
            missing+=("$package")
        fi
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        return 0
    fi
    echo "Installing: ${missing[*]}"
    local sudo=()
    if [[ $(id -u) -ne 0 ]]; then
        sudo=(sudo)
    fi
    export DEBIAN_FRONTEND=noninteractive
    "${sudo[@]}" apt-get update -q
    "${sudo[@]}" apt-get install -y -q "${missing[@]}"
}

# Runs a command with its output in a log file; on failure prints the end of the log.
run_logged() {
    local log=$1
    shift
    "$@" >>"$log" 2>&1 && return 0
    local status=$?
    echo "--- failed: $* (last lines of $log)"
    tail -n 60 "$log"
    echo "---"
    return "$status"
}

# The packages of the Linux builds: compiler, build tools, GoogleTest, Google Benchmark, ICU (a
# peer that the benchmarks measure against).
# shellcheck disable=SC2034
ZELK_LINUX_PACKAGES=(cmake ninja-build g++ libgtest-dev googletest libbenchmark-dev libicu-dev)
# The Windows build: the mingw-w64 cross compiler and Wine to run its programs.
# shellcheck disable=SC2034
ZELK_WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix wine64)
