#!/usr/bin/env bash
# Installs the Debian packages that the project needs, and for the tests some of npm, those that are missing only.
#   scripts/setup.sh run     to build the daemon and run it on the emulated panel
#   scripts/setup.sh test    the same and all that the tests and benchmarks need
# Needs root or sudo when something is missing.
set -euo pipefail

run=(
  cmake
  fonts-dejavu-core
  g++
  libboost-dev
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
  chromium
  clang-14
  clang-format-14
  clang-tidy-14
  cppcheck
  cpio
  debhelper
  device-tree-compiler
  fonts-inter
  fonts-jetbrains-mono
  g++-arm-linux-gnueabihf
  gcovr
  groff-base
  imagemagick
  libbenchmark-dev
  libclang-rt-14-dev
  libgtest-dev
  lintian
  mandoc
  mmdebstrap
  nodejs
  python3-pil
  qemu-system-arm
  qemu-user-static
  systemd
  tmux
  valgrind
)
command -v npm >/dev/null || test+=(npm) # some packages of nodejs bring it along

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

install_packages() {
  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || {
      echo "$0: run this as root, or install: $*" >&2
      exit 1
    }
    as_root=(sudo)
  fi
  echo "Installing $*"
  export DEBIAN_FRONTEND=noninteractive
  "${as_root[@]}" apt-get update
  "${as_root[@]}" apt-get install -y --no-install-recommends "$@"
}

if ((${#missing[@]} == 0)); then
  echo "All ${#wanted[@]} packages are installed."
else
  install_packages "${missing[@]}"
fi
if [[ $1 == test ]]; then
  "$(dirname "$0")/../tests/web/install.sh"
fi
