#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages in a copy of the tree, has lintian look at them, installs them into a fresh root and starts
# there what they brought: a pair of agents as the unit would, the emulator, and the tool. Needs root, or sudo.
#
# The fresh root holds what the packages depend on and what every Debian has, copied from this machine as dpkg knows it.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/setup.sh
need_packages "${BUILD_PACKAGES[@]}" "${PACKAGING_PACKAGES[@]}"
if [ "$(id -u)" -ne 0 ]; then
    exec sudo "CCACHE_DIR=${CCACHE_DIR:-$HOME/.ccache}" "$0"
fi

work=$PWD/build/packages
root=$work/root
rm -rf "$work"
mkdir -p "$work/source" "$root"

say "packages"
git ls-files -z | xargs -0 cp --parents --no-dereference -t "$work/source"
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.ccache}
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
(cd "$work/source" && DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" dpkg-buildpackage -us -uc -b) >"$work/log" 2>&1 || {
    tail -40 "$work/log" >&2
    exit 1
}
ls "$work"/*.deb | sed 's|.*/|  |'

say "lintian"
lintian --allow-root --fail-on error,warning --display-level ">=info" --tag-display-limit 0 "$work"/*.changes

say "units"
mkdir -p "$work/units"
for unit in dorvald@ dorvald; do
    dpkg-deb --fsys-tarfile "$work"/dorvald_*.deb | tar -xO "./lib/systemd/system/$unit.service" >"$work/units/$unit.service"
    systemd-analyze security --offline=yes --threshold=20 "$work/units/$unit.service" | tail -1
done

built=$(dpkg-parsechangelog -l debian/changelog -S Version)
named=$(sed -n 's/^project(dorvald VERSION \([^ ]*\).*/\1/p' CMakeLists.txt)
[ "$built" = "$named" ] || {
    echo "packages: debian/changelog has version $built, CMakeLists.txt $named" >&2
    exit 1
}

say "a fresh root"
installed() { # of the names on standard input
    sort -u | xargs dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' 2>/dev/null | sed -n 's/^ii //p' || true
}
wanted() {
    dpkg-query -W -f '${Essential} ${Package}\n' | sed -n 's/^yes //p'
    for deb in "$work"/*.deb; do
        dpkg-deb --show --showformat '${Depends}\n${Recommends}\n' "$deb" | tr ',|' '\n\n' | sed 's/(.*//; s/ //g'
    done
}
mapfile -t packages < <(wanted | installed |
    xargs apt-cache depends --recurse --installed --no-recommends --no-suggests --no-conflicts --no-breaks \
        --no-replaces --no-enhances | grep '^[a-z]' | installed | sort -u)
mkdir -p "$root"/{dev,proc,run,tmp,etc,usr/{bin,sbin,lib,lib32,lib64,libx32},var/lib/dpkg/info,var/lib/dpkg/updates}
dpkg-query -L "${packages[@]}" | grep '^/' | sort -u |
    tar -C / --no-recursion --ignore-failed-read -cf - -T - 2>/dev/null | tar -C "$root" --keep-directory-symlink -xf -
for package in "${packages[@]}"; do
    dpkg-query -s "$package" && echo
    cp /var/lib/dpkg/info/"$package"[.:]*list "$root/var/lib/dpkg/info/"
done >"$root/var/lib/dpkg/status"
cp "$root/usr/share/base-passwd/passwd.master" "$root/etc/passwd"
cp "$root/usr/share/base-passwd/group.master" "$root/etc/group"
mkdir "$root/packages"
cp "$work"/*.deb "$root/packages/"
cp scripts/packages_inside.sh "$root/packages/"
echo "  ${#packages[@]} packages ahead of these, $(du -sm "$root" | cut -f1) MiB"
unshare --mount --pid --fork true 2>/dev/null || {
    say "packages built; namespaces are not to be had here, so that they are neither installed nor started, $SECONDS s"
    exit 0
}
unshare --mount --pid --fork --kill-child chroot "$root" /bin/bash /packages/packages_inside.sh
say "packages built, installed and started, $SECONDS s"
