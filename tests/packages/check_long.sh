#!/usr/bin/env bash
# What takes minutes: a clean Debian installs the packages, works with them and purges them, by the commands of
# docs/install.md; and the source archive alone, without git and without a network, makes the same packages to the bit.
# usage: check_long.sh SOURCES    (as root)
set -euo pipefail
sources=$1
packages=$sources/build/packages
work=$(mktemp -d)
root=$work/root
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf "$work"' EXIT
step() { printf '\n== %s (at %d s)\n' "$*" "$SECONDS"; }

# `commands SECTION`: what stands in the section's boxes.
commands() { sed -n "/^## $1/,/^## /{/^\`\`\`sh/,/^\`\`\`/{/^\`\`\`/d;s/^sudo //;p}}" "$sources/docs/install.md"; }

# All files but those of users, and those that apt and dpkg write with each call.
files_of() { (cd "$1" && find . -xdev \( -path ./proc -o -path ./root \) -prune -o -print | grep --invert-match --extended-regexp '^\./(var/(lib|cache|log)/|tmp|etc/ld\.so\.cache)' | sort); }

step "A clean Debian"
mmdebstrap --quiet --variant=apt bookworm "$root" http://deb.debian.org/debian
mount -t proc proc "$root/proc"
mkdir "$root/root/packages"
cp "$packages"/*.deb "$root/root/packages"
in_root() { env -i /usr/sbin/chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
in_root apt-get update -qq
# What the packages need stays; so what is left behind afterwards is theirs.
in_root sh -ec 'cd /root/packages; apt-get install --yes --no-install-recommends -qq $(dpkg-deb --field ./lumo-flash_*.deb Depends | sed "s/([^)]*)//g; s/,/ /g") >/dev/null'
files_of "$root" >"$work/before"

step "Installed, used and purged"
commands "Debian 12" >"$root/root/commands"
cat "$root/root/commands"
in_root sh -exc 'cd /root/packages; . /root/commands' >"$work/said" 2>&1 || { cat "$work/said"; exit 1; }
grep --quiet 'flash is blank' "$work/said"
files_of "$root" >"$work/after"
diff "$work/before" "$work/after" || { echo "This was left behind, or taken along"; exit 1; }

step "The same packages again, from the source archive, without git and without a network"
mkdir "$work/again" "$work/bin"
cp "$packages"/*.tar.gz "$work/again"
printf '#!/bin/sh\necho "no git here" >&2\nexit 127\n' >"$work/bin/git"
chmod +x "$work/bin/git"
commands "From the source archive" >"$work/commands"
(cd "$work/again" && PATH=$work/bin:$PATH unshare --net bash -euo pipefail "$work/commands") >"$work/said" 2>&1 || { tail -50 "$work/said"; exit 1; }
again=$(echo "$work"/again/lumo-flash-*/build/packages)
for package in "$packages"/*.deb "$packages"/*.zip; do
    cmp "$package" "$again/$(basename "$package")"
done
echo "Identical: $(cd "$again" && echo *.deb *.zip)"
step "Checked"
