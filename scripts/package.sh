#!/usr/bin/env bash
# Builds the Debian packages into build/packages/: the daemon, the emulated panel, the documents.
#   scripts/package.sh [amd64|armhf] [--reuse BUILD-FOLDER]
# amd64 is built natively, armhf (the station) with the project's cross compiler and build/arm-sysroot; both in a copy
# of the tree, so that nothing is left in it. Dates in programs and packages are those of the newest entry in
# packaging/debian/changelog: two builds give the same bytes. With --reuse the programs of a build of the release (or
# arm) preset are packaged as they are, which saves the time of compiling them, and keeps that build's date.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  echo "usage: $0 [amd64|armhf] [--reuse BUILD-FOLDER]" >&2
  exit 2
}

architecture=$(dpkg --print-architecture)
if [[ ${1:-} == amd64 || ${1:-} == armhf ]]; then
  architecture=$1
  shift
fi
if [[ ${1:-} == --reuse && -d ${2:-} ]]; then
  BELTPACK_BUILT=$(realpath "$2")
  export BELTPACK_BUILT
  shift 2
fi
(($# == 0)) || usage

# The compilers' wrapper of a developer, and the like, have no part in a package.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER

packages=$PWD/build/packages
out=$packages/$architecture
tree=$out/beltpack-fpui
rm -rf "$out"
mkdir -p "$tree"
tar -c --exclude=./build --exclude=./.git --exclude=node_modules . | tar -x -C "$tree"
# The packaging tools expect it there; in the project it lies beside the other ways of packaging.
cp -r packaging/debian "$tree/debian"

options=(--no-sign -d -b)  # -d: what is missing shows when it is used; setup.sh installs it
if [[ $architecture != $(dpkg --print-architecture) ]]; then
  scripts/arm-sysroot.sh
  export BELTPACK_SYSROOT=$PWD/build/arm-sysroot
  # The emulated panel belongs to a desk. Neither cross compiler nor sysroot has its libraries.
  options=(--no-sign -d -B -a"$architecture" -Pcross,pkg.beltpack-fpui.nosim)
fi
(cd "$tree" && dpkg-buildpackage "${options[@]}")
rm -rf "$tree"
ls "$out"/*.deb
