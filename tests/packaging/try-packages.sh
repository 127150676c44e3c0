#!/usr/bin/env bash
# Installs, upgrades, removes and purges the packages in a minimal Debian, and runs what they install.
#   try-packages.sh ROOT PACKAGE-FOLDER VERSION
# ROOT is what scripts/test-root.sh makes; it stays as it is: everything happens in a layer over it, in namespaces of
# its own, and is gone with this process. Needs root; status 77, with the reason, when it cannot be done.
set -euo pipefail

skip() {
  echo "skipped: $*"
  exit 77
}
((EUID == 0)) || skip "installing packages needs root"
[[ -e $1/.packages ]] || skip "no $1; scripts/test-root.sh makes it"

if [[ ${TRY_PACKAGES_INSIDE:-} != yes ]]; then
  # In a root that is a plain folder (chroot) there is no mount whose propagation could be changed.
  propagation=private
  unshare --mount true 2>/dev/null || propagation=unchanged
  unshare --mount --propagation "$propagation" true 2>/dev/null || skip "no namespaces here"
  TRY_PACKAGES_INSIDE=yes exec unshare --mount --propagation "$propagation" --net --pid --fork --kill-child "$0" "$@"
fi
base=$(realpath "$1")
packages=$(realpath "$2")
version=$3

work=$(mktemp -d)
trap 'umount -l "$work"; rmdir "$work"' EXIT
mount -t tmpfs tmpfs "$work"
mkdir "$work"/{root,upper,work,new}
root=$work/root
mount -t overlay overlay -o "lowerdir=$base,upperdir=$work/upper,workdir=$work/work" "$root" ||
  skip "this kernel lays no folder over another"
mount -t proc proc "$root/proc"
for node in null urandom; do
  [[ -e $root/dev/$node ]] || touch "$root/dev/$node"
  mount --bind "/dev/$node" "$root/dev/$node"
done

step() { printf '== %s\n' "$*"; }
fail() {
  echo "FAILED: $*"
  exit 1
}
inside() { DEBIAN_FRONTEND=noninteractive LC_ALL=C chroot "$root" "$@"; }
install_packages() {
  mkdir -p "$root/packages"
  cp "$@" "$root/packages"
  inside dpkg --install "${@/#*\//packages/}" || fail "dpkg cannot install $*"
  rm -r "$root/packages"
}
installed_version() { inside dpkg-query -W -f='${Version}' "$1"; }
# Every file but what dpkg and the data base of users keep for themselves: a user stays, as Debian has it, since files
# may still belong to it.
all_files() {
  inside find / -xdev ! -path '/proc/*' ! -path '/var/lib/dpkg/*' ! -path '/var/log/*' ! -path '/etc/*-' \
    ! -path '/etc/*shadow' ! -path /etc/.pwd.lock | sort
}

names=(beltpack-fpui beltpack-sim beltpack-fpui-doc)
files=("$packages"/beltpack-fpui_*.deb "$packages"/beltpack-sim_*.deb "$packages"/beltpack-fpui-doc_*.deb)
before=$(all_files)

step "The same packages with a later version"
later=()
for file in "${files[@]}"; do
  dpkg-deb -R "$file" "$work/new/tree"
  sed -i "s/\(^Version: .*\)/\1+later/; s/(= $version)/(= $version+later)/" "$work/new/tree/DEBIAN/control"
  dpkg-deb --root-owner-group -Znone -b "$work/new/tree" "$work/new/$(basename "$file")" >/dev/null
  rm -r "$work/new/tree"
  later+=("$work/new/$(basename "$file")")
done

step "Install"
install_packages "${files[@]}"
[[ $(installed_version beltpack-fpui) == "$version" ]] || fail "another version is installed"
inside getent passwd beltpack >/dev/null || fail "there is no user beltpack"
[[ $(inside find /etc/systemd -name '*beltpack*' 2>/dev/null) == "" ]] || fail "a unit is enabled"
status=0
inside beltpack_fpui -h 2>"$work/usage" || status=$?
((status == 1)) && grep -q '^Usage: beltpack_fpui' "$work/usage" || fail "no usage text: $status"

step "A session on the emulated panel, as the daemon's user"
# The script itself holds lights and lines against what they have to be.
inside chroot --userspec=beltpack:beltpack / sh -c \
  'cd /tmp && beltpack_sim --script /usr/share/doc/beltpack-fpui/examples/demo.panel --artifacts /tmp' >"$work/lines" ||
  fail "the installed programs do not go together"
grep -q '^OnFpId("beltpack",1,96,64)$' "$work/lines" || fail "the daemon did not tell that it is ready"

step "Upgrade"
install_packages "${later[@]}"
[[ $(installed_version beltpack-sim) == "$version+later" ]] || fail "the upgrade was not carried out"
inside beltpack_sim --version >/dev/null || fail "the upgraded program does not run"

step "Remove"
inside dpkg --remove "${names[@]}"
[[ ! -e $root/usr/bin/beltpack_fpui && ! -e $root/lib/udev/rules.d/70-beltpack-fpui.rules ]] || fail "files are left"

step "Purge"
inside dpkg --purge "${names[@]}"
rm -f "$root"/tmp/*
after=$(all_files)
diff <(echo "$before") <(echo "$after") || fail "the packages left these files (>) or took these (<)"
step "All is as before"
