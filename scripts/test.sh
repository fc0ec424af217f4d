#!/usr/bin/env bash
# Sets up this machine, builds the libraries, tools and tests, and runs the
# whole test suite. LITHMAR_SANITIZE=address,undefined (or thread) builds and
# runs the same suite with those sanitizers, in a build directory of its own.
# LITHMAR_TEST_TARGETS ("a b c") builds only those targets and
# LITHMAR_TEST_REGEX runs only the tests that match it, for a job that covers
# part of the suite.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

sanitize=${LITHMAR_SANITIZE:-}
build_dir="$root/out/${sanitize:+sanitize-${sanitize//,/-}}"
[ -n "$sanitize" ] || build_dir="$root/out/release"
build_type=Release
[ -z "$sanitize" ] || build_type=Debug

# Compiler cache hits across checkouts in other folders (CI clones afresh).
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=true

cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE="$build_type" -DLITHMAR_SANITIZE="$sanitize" \
  -DLITHMAR_BUILD_BENCH="${LITHMAR_BUILD_BENCH:-OFF}"
# Word splitting of the target list is wanted.
# shellcheck disable=SC2086
cmake --build "$build_dir" ${LITHMAR_TEST_TARGETS:+--target $LITHMAR_TEST_TARGETS}

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/tests/sanitizers/lsan.supp:print_suppressions=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-suppressions=$root/tests/sanitizers/tsan.supp:halt_on_error=1}
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" ${LITHMAR_TEST_REGEX:+-R "$LITHMAR_TEST_REGEX"}
