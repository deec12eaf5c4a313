#!/usr/bin/env bash
# Builds the library, the tool and the tests, and runs the tests. First installs what is missing.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"
readonly preset=${1:-release}

usage() {
    cat <<'EOF'
usage: ./test.sh [release | debug | clang | asan | tsan | coverage]

Builds in build/PRESET and runs the tests of that build; PRESET is release by default. First installs what is missing.
EOF
}

case $preset in
    -h | --help)
        usage
        exit 0
        ;;
    release | debug | clang | asan | tsan | coverage) ;;
    *)
        usage >&2
        exit 2
        ;;
esac

step() {
    printf '\n== %s\n' "$*"
}

step "Packages that the build needs"
scripts/install-packages
scripts/install-packages libboost-dev  # the tests of orm-trace view
scripts/install-packages mypy pybind11-dev python3-{dask,dev,distributed,matplotlib,numpy,pandas,pytest}  # of the Python package

case $preset in
    asan | clang) scripts/install-packages clang libclang-rt-14-dev ;;
    coverage) scripts/install-packages clang-19 libclang-rt-19-dev ;;
esac

step "Build in build/$preset"
cmake --preset "$preset" --log-level=WARNING
cmake --build --preset "$preset"

step "Tests"
ctest --preset "$preset" --parallel "$(nproc)" --progress
