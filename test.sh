#!/usr/bin/env bash
# Builds the library, the tool and the tests, and passes the tests. Installs what is missing first.
# Run without arguments, from anywhere; with the name of another preset (debug, clang, asan, tsan) it tests that build.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"
readonly preset=${1:-release}

step() {
    printf '\n== %s\n' "$*"
}

step "Packages that the build needs"
scripts/install-packages

case $preset in
    asan | clang | coverage) scripts/install-packages clang libclang-rt-14-dev ;;
esac

step "Build in build/$preset"
cmake --preset "$preset" --log-level=WARNING
cmake --build --preset "$preset"

step "Tests"
ctest --preset "$preset" --parallel "$(nproc)" --progress
