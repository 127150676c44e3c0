#!/usr/bin/env bash
# Unpacks the 32-bit ARM libraries that the daemon links against into build/arm-sysroot, where the arm preset looks for
# them. They come from this machine's own Debian package sources, but through package lists of their own: the machine's
# architectures, lists and installed packages stay as they are. Needs neither root nor a second run.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(libbrotli1 libfreetype-dev libfreetype6 libpng-dev libpng16-16 zlib1g zlib1g-dev)
sysroot=$PWD/build/arm-sysroot
wanted="${packages[*]}"

if [[ $(cat "$sysroot/.packages" 2>/dev/null) == "$wanted" ]]; then
  echo "All ${#packages[@]} ARM packages are unpacked."
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/packages"
touch "$work/status"
apt=(apt-get -qq -o APT::Architecture=armhf -o APT::Architectures=armhf -o "Dir::State=$work"
  -o "Dir::State::Lists=$work/lists" -o "Dir::State::status=$work/status" -o "Dir::Cache=$work/cache"
  -o Debug::NoLocking=1 -o "APT::Sandbox::User=$(id -un)")
# One source that fails (a mirror in the middle of an update) is no matter while another has the packages.
"${apt[@]}" update || echo "Some package lists could not be read; going on with the others." >&2
(cd "$work/packages" && "${apt[@]}" download "${packages[@]}")

rm -rf "$sysroot"
mkdir -p "$sysroot/usr/lib"
ln -s usr/lib "$sysroot/lib"  # some of the packages still use the path before the merge of the two
for package in "$work"/packages/*.deb; do
  dpkg-deb --fsys-tarfile "$package" | tar -x --keep-directory-symlink -C "$sysroot"
done
echo "$wanted" >"$sysroot/.packages"
echo "Unpacked ${#packages[@]} ARM packages into build/arm-sysroot."
