#!/usr/bin/env bash
# Builds the station's packages twice, in folders, time zones and with file modes of their own: the same bytes. Then
# looks at the daemon in them.
#   check_reproducible.sh PROJECT OUTPUT-FOLDER
set -euo pipefail
project=$(realpath "$1")
[[ -e $project/build/arm-sysroot/.content ]] || {
  echo "skipped: no ARM libraries; scripts/arm-sysroot.sh unpacks them"
  exit 77
}
rm -rf "$2"
mkdir -p "$2"
out=$(realpath "$2")

# build_in FOLDER: the packages' check sums, without the folder.
build_in() {
  mkdir -p "$1/build"
  tar -c -C "$project" --exclude=./build --exclude=./.git --exclude=node_modules . | tar -x -C "$1"
  ln -s "$project/build/arm-sysroot" "$1/build/arm-sysroot"
  "$1/scripts/package.sh" armhf >"$1.log" 2>&1 || {
    tail -40 "$1.log" >&2
    exit 1
  }
  (cd "$1/build/packages/armhf" && sha256sum ./*.deb)
}

first=$(umask 022 && TZ=UTC build_in "$out/one")
second=$(umask 027 && TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 build_in "$out/another_folder")
diff <(echo "$first") <(echo "$second") || {
  echo "two builds differ; they are in $out"
  exit 1
}

# What is in them: the daemon as it is shipped, of the change log's date, not of today's.
dpkg-deb -x "$out"/one/build/packages/armhf/beltpack-fpui_*.deb "$out/unpacked"
daemon=$out/unpacked/usr/bin/beltpack_fpui
"$project/tests/packaging/check_hardening.sh" "$daemon"
"$project/tests/packaging/check_paths.sh" "$out" "$daemon"
written=$(dpkg-parsechangelog -l "$project/packaging/debian/changelog" -S Timestamp)
date=$(LC_ALL=C date -u -d "@$written" '+%b %e %Y')
grep -aqF "$date" "$daemon" || {
  echo "the daemon is not of $date"
  exit 1
}
rm -r "$out"
