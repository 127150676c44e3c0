#!/usr/bin/env bash
# Installs the Debian packages that the project needs, those that are missing only.
#   scripts/setup.sh run     to build the daemon and run it on the emulated panel
#   scripts/setup.sh test    the same and all that the tests and benchmarks need
# Needs root or sudo when something is missing.
set -euo pipefail

run=(
  cmake
  fonts-dejavu-core
  g++
  libcli11-dev
  libfreetype-dev
  libgif-dev
  libncurses-dev
  libpng-dev
  ninja-build
  nlohmann-json3-dev
  python3
)
test=(
  "${run[@]}"
  clang-14
  clang-format-14
  cpio
  device-tree-compiler
  g++-arm-linux-gnueabihf
  imagemagick
  libbenchmark-dev
  libgtest-dev
  python3-pil
  qemu-system-arm
  qemu-user-static
  tmux
  valgrind
)

case ${1:-} in
  run) wanted=("${run[@]}") ;;
  test) wanted=("${test[@]}") ;;
  *)
    echo "usage: $0 run|test" >&2
    exit 2
    ;;
esac

missing=()
for package in "${wanted[@]}"; do
  [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
  echo "All ${#wanted[@]} packages are installed."
  exit 0
fi

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null || {
    echo "$0: run this as root, or install: ${missing[*]}" >&2
    exit 1
  }
  as_root=(sudo)
fi
echo "Installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update
"${as_root[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
