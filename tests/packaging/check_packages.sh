#!/usr/bin/env bash
# Packages a release build and holds the packages against Debian's rules.
#   check_packages.sh PROJECT BUILD-FOLDER VERSION
# Compiles nothing: the build's own programs are packaged.
set -euo pipefail
cd "$1"
packages=build/packages/$(dpkg --print-architecture)
scripts/package.sh --reuse "$2" >"$2/package.log" 2>&1 || {
  tail -40 "$2/package.log"
  exit 1
}

status=0
built=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
[[ $built == "$3" ]] || { echo "The change log is of version $built, the project of $3"; status=1; }
grep -q "^BELTPACK_FPUI_VERSION = $3$" packaging/buildroot/beltpack-fpui/beltpack-fpui.mk ||
  { echo "The Buildroot recipe is of another version than $3"; status=1; }
[[ -e packaging/yocto/beltpack-fpui_$3.bb ]] || { echo "The Yocto recipe is of another version than $3"; status=1; }

# Root may run lintian here: it only reads.
lintian --allow-root --fail-on error,warning "$packages"/*.changes || status=1
exit "$status"
