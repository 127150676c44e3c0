#!/usr/bin/env bash
# Builds the project in every way it must build and passes all tests: gcc release, gcc with the address and
# undefined-behaviour sanitizers, clang release; and for the station's 32-bit ARM processor, whose tests run in an
# emulator, the daemon also on an emulated board with a real kernel. Before the tests the sources are analysed and what the
# tests reach of the daemon is measured.
# Arguments go to ctest, e.g. scripts/test.sh -R Line
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s (after %d min %02d s)\n' "$*" $((SECONDS / 60)) $((SECONDS % 60)); }

step "Packages"
scripts/setup.sh test
scripts/arm-sysroot.sh
scripts/test-root.sh
step "Source format"
scripts/check-format.sh
for preset in release sanitize clang arm; do
  step "Building: $preset"
  # The station's daemon runs on the release build's panel, which need not be built for this machine again.
  options=()
  [[ $preset != arm ]] || options=(-DBELTPACK_SIMULATOR_FROM="$PWD/build/release")
  cmake --preset "$preset" "${options[@]}"
  cmake --build --preset "$preset"
done
step "Static analysis"
scripts/analyse.sh
step "Coverage"
scripts/coverage.sh
step "Tests"
# One run over all builds, so that one summary tells about all of them.
printf 'subdirs(release sanitize clang arm)\n' >build/CTestTestfile.cmake
ctest --test-dir build --output-on-failure -j "$(nproc)" "$@"
