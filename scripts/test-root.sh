#!/usr/bin/env bash
# Makes build/test-root: a minimal Debian 12 with what the packages depend on and nothing else, in which the tests
# install them. Needs root and this machine's package sources; does nothing when it is there.
set -euo pipefail
cd "$(dirname "$0")/.."

# Of the packages' dependencies; what is installed in a test comes from the project alone.
include=libfreetype6,libgif7,libncursesw6,libpng16-16,libstdc++6,systemd-standalone-sysusers
root=$PWD/build/test-root

if [[ $(cat "$root/.packages" 2>/dev/null) == "$include" ]]; then
  echo "The root for the packages is there."
  exit 0
fi
if ((EUID != 0)); then
  echo "Not root: without a root to install them in, the packages' own test is skipped."
  exit 0
fi
rm -rf "$root"
mkdir -p build
mmdebstrap --quiet --mode=root --variant=essential --include="$include" --dpkgopt=force-unsafe-io bookworm "$root"
echo "$include" >"$root/.packages"
echo "Made build/test-root."
