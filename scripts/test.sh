#!/usr/bin/env bash
# Sets everything up and runs every test: the suites in a normal build, the same suites under
# AddressSanitizer and UndefinedBehaviorSanitizer, the fuzz targets over their seed corpora, and a
# program built against the installed package.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$QX_ROOT"

qx_install_packages
qx_generate_test_locales

echo "== tests"
qx_build build
ctest --test-dir build --output-on-failure -j2

echo "== tests under AddressSanitizer and UndefinedBehaviorSanitizer"
qx_build build-asan -DQXUTILS_SANITIZE=ON -DQXUTILS_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j2

echo "== fuzz targets over their corpora"
CC=clang CXX=clang++ qx_build build-fuzz -DQXUTILS_FUZZ=ON
ctest --test-dir build-fuzz --output-on-failure -j2

echo "== installed package"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build --prefix "$prefix/usr" >/dev/null
cmake -S tests/package -B "$prefix/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/consumer" >/dev/null
LD_LIBRARY_PATH="$prefix/usr/lib" "$prefix/consumer/consumer"
