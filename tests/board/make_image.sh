#!/usr/bin/env bash
# Makes what the emulated board boots: its device tree and the file system in its memory.
#   make_image.sh BOARD-FOLDER SYSROOT OUTPUT-FOLDER PROGRAM...
# BOARD-FOLDER and SYSROOT are what scripts/arm-sysroot.sh unpacks; the PROGRAMs come into /bin, with the libraries
# that they need. Leaves board.dtb and root.gz.
set -euo pipefail
here=$(realpath "$(dirname "$0")")
board=$(realpath "$1")
libraries=$(realpath "$2")/usr/lib/arm-linux-gnueabihf
mkdir -p "$3"
out=$(realpath "$3")
programs=("${@:4}")

dtc -q -I dtb -O dts -o "$out/base.dts" "$board"/usr/lib/linux-image-*/imx6q-sabrelite.dtb
dtc -q -I dts -O dtb -i "$out" -o "$out/board.dtb" "$here/board.dts"

# All the shared libraries that a program or library needs, itself included.
declare -A needed=()
need() {
  local library
  [[ -z ${needed[$1]:-} ]] || return 0
  needed[$1]=yes
  while read -r library; do
    need "$libraries/$library"
  done < <(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
}

root=$out/root
rm -rf "$root"
mkdir -p "$root"/{bin,modules,lib/arm-linux-gnueabihf}
cp "$here/init" "$root/init"
cp "$board/bin/busybox" "$root/bin/"
find "$board" -name '*.ko' -exec cp -t "$root/modules" {} +
for program in "${programs[@]}"; do
  cp "$program" "$root/bin/"
  need "$program"
done
need "$libraries/ld-linux-armhf.so.3"
for file in "${!needed[@]}"; do
  [[ $file != "$libraries"/* ]] || cp -L "$file" "$root/lib/arm-linux-gnueabihf/"
done
ln -s arm-linux-gnueabihf/ld-linux-armhf.so.3 "$root/lib/ld-linux-armhf.so.3"
# The boot loader's tool, which asks a flash memory that the board has not got.
printf '#!/bin/sh\ncat /tmp/disptype\n' >"$root/bin/fw_printenv"
chmod +x "$root/init" "$root/bin/"*
(cd "$root" && find . | cpio --quiet -o -H newc -R 0:0 | gzip -1) >"$out/root.gz"
