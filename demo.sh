#!/usr/bin/env bash
# Shows the library at work: builds it, makes a capture of a few million samples, and lets a host page through it.
# Run it without arguments, from any folder. It leaves only the build tree.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"

readonly samples=4000000
readonly build=build/release

step() {
    printf '\n== %s\n' "$*"
}

# run_host FILE: a host pages through the file with logging on; then the log that the library wrote is shown.
run_host() {
    local pid log
    step "A host loads the library and pages through $1, with logging on"
    "$build/bin/check-capture" "$build/lib/libTalvoraFileChannelDriver.so" "$HOME/$1" "$samples" &
    pid=$!
    wait "$pid"

    log=$(echo "$HOME"/.ORM-trace/orm_trace_log_*_"$pid".txt)
    if [[ ! -f $log ]]; then
        echo "demo: the library wrote no log $log" >&2
        exit 1
    fi
    printf '\nThe library logged %s lines to %s; it begins and ends:\n' "$(wc -l <"$log")" "$log"
    head -n 7 -- "$log"
    echo "..."
    tail -n 4 -- "$log"
}

step "Packages that the build needs"
scripts/install-packages

step "Build in $build"
cmake --preset release --log-level=WARNING
cmake --build --preset release --target TalvoraFileChannelDriver generate-capture check-capture

# From here on the demo has its own home directory, for the logs and directories of the library.
HOME=$(mktemp -d)
export HOME
trap 'rm -rf -- "$HOME"' EXIT
export ORM_TRACE_LOGGING=1
unset ORM_TRACE_DEBUGCLIENT_PID # each host logs under its own process id

step "A generator that shares no code with the library writes $samples samples to two files"
"$build/bin/generate-capture" "$HOME/capture.tdf" "$HOME/capture.bin" "$samples"

run_host capture.tdf
run_host capture.bin

printf '\ndemo: OK\n'
