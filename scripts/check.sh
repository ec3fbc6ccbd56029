#!/usr/bin/env bash
# The checks that everybody runs alike.
# usage: scripts/check.sh format|lint|docs|asan|tsan|clang|soak|fuzz [SECONDS]|all
set -euo pipefail
cd "$(dirname "$0")/.."

product_folders=(core journal cache flush query discovery observability hostkit server share iif)

sources() { git ls-files -- '*.h' '*.cpp'; }

check_format() {
    scripts/install-packages.sh clang-format
    sources | xargs clang-format --dry-run -Werror
}

check_lint() {
    scripts/install-packages.sh clang-tidy
    cmake --preset debug >/dev/null
    # One file a run: the analyzer's check of va_list carries its state from one file to the next and then misjudges.
    git ls-files -- "${product_folders[@]/%//*.cpp}" | xargs -P "$(nproc)" -n 1 clang-tidy -p build/debug --quiet
}

# Every warning about the reference is an error.
check_docs() {
    scripts/install-packages.sh doxygen
    mkdir -p build
    doxygen docs/Doxyfile
}

check_sanitized() {
    scripts/build.sh "$1"
    ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 \
        UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
        TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
        scripts/run-tests.sh "$1"
}

check_clang() {
    scripts/install-packages.sh clang
    scripts/build.sh clang
}

# Looks for inputs that break a reader, so many seconds for each. What is found is left in build/fuzz as crash-*, to be
# mended and then put into the corpus.
check_fuzz() {
    local seconds=${1:-60} target name targets=()
    scripts/install-packages.sh clang libclang-rt-dev
    for target in tests/fuzz/*_target.cpp; do
        name=$(basename "$target" _target.cpp)
        targets+=("$name")
    done
    scripts/build.sh fuzz "${targets[@]/#/fuzz_}"
    cd build/fuzz
    for name in "${targets[@]}"; do
        mkdir -p "found/$name"
        echo "== $name"
        UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "tests/fuzz/fuzz_$name" \
            -max_total_time="$seconds" -max_len=8192 -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
            "found/$name" "../../tests/fuzz/corpus/$name"
    done
}

# What takes long and finds what is rare. A failure names its seed.
check_soak() {
    scripts/build.sh release
    local histories=(build/release/tests/server_tests --gtest_filter='history_property.*')
    IIF_PROPERTY_SEEDS=1000 "${histories[@]}"
    IIF_TEST_ENGINE=postgresql IIF_PROPERTY_SEEDS=100 "${histories[@]}"
    IIF_KILL_ROUNDS=50 python3 tests/e2e/server_kill_test.py build/release/iif/iif
    IIF_KILL_ROUNDS=50 build/release/tests/e2e/with_postgresql python3 tests/e2e/server_kill_test.py build/release/iif/iif
    IIF_KILL_ROUNDS=50 python3 tests/e2e/crash_test.py build/release/iif/iif
    python3 tests/e2e/million_objects.py build/release/iif/iif
}

case ${1:-} in
    format) check_format ;;
    lint) check_lint ;;
    docs) check_docs ;;
    asan | tsan) check_sanitized "$1" ;;
    clang) check_clang ;;
    soak) check_soak ;;
    fuzz) check_fuzz "${2:-}" ;;
    all)
        for check in format lint docs clang asan tsan fuzz; do
            echo "== $check"
            "$0" "$check"
        done
        ;;
    *)
        echo "usage: scripts/check.sh format|lint|docs|asan|tsan|clang|soak|fuzz [SECONDS]|all" >&2
        exit 2
        ;;
esac
