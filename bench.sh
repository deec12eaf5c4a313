#!/usr/bin/env bash
# Compares the library with alternative libraries and with bare system calls, and prints the ratios. Needs an otherwise
# idle Debian machine, and 6 GB in TMPDIR.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"

if [[ ${1:-} == -h || ${1:-} == --help ]]; then
    cat <<'EOF'
usage: ./bench.sh [--quick | --markdown] [OPTION...]

Takes a few minutes. --quick runs each benchmark once and briefly, to check that all work; its figures mean nothing.
--markdown writes the results into docs/performance.md and the README too.
The options are those of bench/ratios.py, for example --filter '^Save/' or --repetitions 15.
EOF
    exit 0
fi
options=("$@")
if [[ ${1:-} == --quick ]]; then
    options=(--repetitions 1 --min-time 0.001 "${@:2}")
fi

{
    echo "== Packages"
    scripts/install-packages
    scripts/install-packages libbenchmark-dev libboost-dev libfmt-dev libgoogle-glog-dev libhdf5-dev \
        libhowardhinnant-date-dev libspdlog-dev pybind11-dev python3-dev python3-h5py python3-numpy
    command -v npm >/dev/null || scripts/install-packages nodejs npm
    scripts/install-packages chromium xxd
    npm ci --prefix view --no-audit --no-fund
    echo "== Build"
    cmake --preset bench --log-level=WARNING
    cmake --build --preset bench
    echo "== Run"
} >&2
PYTHONPATH=build/release/python bench/ratios.py build/release/bin/orm-bench bench/python_bench.py bench/page_bench.mjs \
    "${options[@]}"
