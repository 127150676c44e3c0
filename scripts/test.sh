#!/usr/bin/env bash
# Builds the project in every way it must build and passes all tests: gcc release, gcc with the address and
# undefined-behaviour sanitizers, clang release; and for the station's 32-bit ARM processor, whose tests run in an
# emulator, the daemon also on an emulated board with a real kernel. Before the tests the sources are analysed and what the
# tests reach of the daemon is measured.
# Arguments go to ctest, e.g. scripts/test.sh -R Line
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s (after %d min %02d s)\n' "$*" $((SECONDS / 60)) $((SECONDS % 60)); }

# What is fetched beside the first builds: the output comes when it is waited for.
mkdir -p build
beside() { "scripts/$1.sh" >"build/$1.log" 2>&1; }
await() {
  local status=0
  wait "$2" || status=$?
  cat "build/$1.log"
  return "$status"
}
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT

step "Packages"
scripts/setup.sh test
beside arm-sysroot & sysroot=$!
beside test-root & root=$!
step "Source format"
scripts/check-format.sh
for preset in release sanitize clang arm; do
  step "Building: $preset"
  # The station's daemon runs on the release build's panel, which need not be built for this machine again.
  options=()
  if [[ $preset == arm ]]; then
    await arm-sysroot "$sysroot"
    options=(-DBELTPACK_SIMULATOR_FROM="$PWD/build/release")
  fi
  cmake --preset "$preset" "${options[@]}"
  cmake --build --preset "$preset"
done
step "Static analysis"
scripts/analyse.sh
step "Coverage"
scripts/coverage.sh
step "Tests"
await test-root "$root"
# One run over all builds, so that one summary tells about all of them.
printf 'subdirs(release sanitize clang arm)\n' >build/CTestTestfile.cmake
ctest --test-dir build --output-on-failure -j "$(nproc)" "$@"
