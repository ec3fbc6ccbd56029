#!/usr/bin/env bash
# Installs the peers, builds the benchmarks and runs them; the figures go to build/bench/results.json and, as a table,
# into docs/performance.md. For figures worth keeping nothing else should run on the machine.
# usage: scripts/bench.sh [options of iif_bench or Google Benchmark...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh libbenchmark-dev libleveldb-dev librocksdb-dev
cmake --preset release -B build/bench -DIIF_BENCH=ON -DIIF_TESTS=OFF >/dev/null
cmake --build build/bench --target iif_bench
build/bench/bench/iif_bench --benchmark_min_time=0.1 --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
    --benchmark_out=build/bench/results.json --benchmark_out_format=json "$@"
python3 bench/table.py build/bench/results.json --into docs/performance.md --command "scripts/bench.sh $*"
