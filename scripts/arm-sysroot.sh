#!/usr/bin/env bash
# Unpacks what the ARM build and its tests need into build/:
#   arm-sysroot   the 32-bit ARM libraries that the arm preset links against and that its programs run with
#   arm-board     the kernel with its modules, and the shell, with which tests/board boots the emulated board
# They come from this machine's own Debian package sources, but through package lists of their own: the machine's
# architectures, lists and installed packages stay as they are. Needs neither root nor a second run.
set -euo pipefail
cd "$(dirname "$0")/.."

sysroot_packages=(libboost1.74-dev libbrotli1 libc6 libcli11-dev libfreetype-dev libfreetype6 libgcc-s1 libgif-dev libgif7 libgtest-dev libncurses-dev
  libncursesw6 libpng-dev libpng16-16 libstdc++6 libtinfo6 nlohmann-json3-dev zlib1g zlib1g-dev)

# The second one depends on the newest kernel, whose package has the version in its name. Of some 300 MB only these
# files are unpacked.
board_packages=(busybox-static linux-image-armmp)
board_files=(./bin/busybox './boot/vmlinuz-*' './usr/lib/linux-image-*/imx6q-sabrelite.dtb'
  '*/evdev.ko' '*/gpio-mxc.ko' '*/i2c-imx.ko' '*/imx2_wdt.ko' '*/leds-pca963x.ko' '*/spi-imx.ko' '*/uinput.ko')

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
apt_options=(-qq -o APT::Architecture=armhf -o APT::Architectures=armhf -o "Dir::State=$work"
  -o "Dir::State::Lists=$work/lists" -o "Dir::State::status=$work/status" -o "Dir::Cache=$work/cache"
  -o Debug::NoLocking=1 -o "APT::Sandbox::User=$(id -un)")

read_package_lists() {
  [[ ! -e $work/status ]] || return 0
  mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
  touch "$work/status"
  # One source that fails (a mirror in the middle of an update) is no matter while another has the packages.
  apt-get "${apt_options[@]}" update || echo "Some package lists could not be read; going on with the others." >&2
}

# download FOLDER PACKAGE...
download() {
  read_package_lists
  mkdir "$work/$1"
  (cd "$work/$1" && apt-get "${apt_options[@]}" download "${@:2}")
}

# unpack FOLDER [FILE...]: what was downloaded for build/FOLDER, all of it or the files that match.
unpack() {
  local package
  rm -rf "build/$1"
  mkdir -p "build/$1/usr/lib"
  ln -s usr/lib "build/$1/lib"  # some of the packages still use the path before the merge of the two
  for package in "$work/$1"/*.deb; do
    # No package has a file for every pattern, of which tar complains.
    dpkg-deb --fsys-tarfile "$package" | tar -x --keep-directory-symlink -C "build/$1" --wildcards "${@:2}" 2>"$work/tar" ||
      (($# > 1)) || { cat "$work/tar" >&2; exit 1; }
  done
}

# is_unpacked FOLDER CONTENT
is_unpacked() {
  [[ $(cat "build/$1/.content" 2>/dev/null) == "$2" ]] && echo "build/$1 is unpacked."
}

content="${sysroot_packages[*]}"
if ! is_unpacked arm-sysroot "$content"; then
  download arm-sysroot "${sysroot_packages[@]}"
  unpack arm-sysroot
  echo "$content" >build/arm-sysroot/.content
  echo "Unpacked the libraries into build/arm-sysroot."
fi

content="${board_packages[*]} ${board_files[*]}"
if ! is_unpacked arm-board "$content"; then
  read_package_lists
  kernel=$(apt-cache "${apt_options[@]}" depends linux-image-armmp | sed -n 's/^ *Depends: *\(linux-image-.*\)/\1/p')
  download arm-board busybox-static "$kernel"
  unpack arm-board "${board_files[@]}"
  # Only now is it known that a pattern matched in one of them.
  for file in "${board_files[@]}"; do
    [[ -n $(find build/arm-board -path "*/${file#*/}") ]] || { echo "no $file in $kernel" >&2; exit 1; }
  done
  echo "$content" >build/arm-board/.content
  echo "Unpacked $kernel into build/arm-board."
fi
