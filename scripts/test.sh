#!/usr/bin/env bash
# Sets everything up and runs every test: the suites and the shape checks in a normal build (preset
# release), the same suites under AddressSanitizer and UndefinedBehaviorSanitizer (asan), the fuzz
# targets over their seed corpora (fuzz), and a program built against the installed package.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$QX_ROOT"

qx_install_packages
qx_generate_test_locales

# Every build treats warnings as errors here, as CI runs this script.
for preset in release asan fuzz; do
  echo "== $preset: build and tests"
  qx_build "$preset" -DQXUTILS_WERROR=ON
  ctest --preset "$preset"
done

echo "== installed package"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build --prefix "$prefix/usr" >/dev/null
cmake -S tests/package -B "$prefix/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/consumer" >/dev/null
LD_LIBRARY_PATH="$prefix/usr/lib" "$prefix/consumer/consumer"
