#!/usr/bin/env bash
# What takes minutes: a clean Debian installs the packages, works with them, and removes and purges them, by the commands of
# docs/install.md; the source archive alone, without git and without a network, in another folder, at another time and
# for another user, makes the same packages to the bit, and, without the virtual chip, a
# program that is linked with nothing under the GPL.
# usage: check_long.sh SOURCES    (as root)
set -euo pipefail
sources=$1
packages=$sources/build/packages
work=$(mktemp -d)
root=$work/root
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf "$work"' EXIT
step() { printf '\n== %s (at %d s)\n' "$*" "$SECONDS"; }

# `commands SECTION [PAGE]`: what stands in the section's boxes.
commands() { sed -n "/^## $1/,/^## /{/^\`\`\`sh/,/^\`\`\`/{/^\`\`\`/d;s/^sudo //;p}}" "${2:-$sources/docs/install.md}"; }

# All files but those of users, and those that apt and dpkg write with each call.
files_of() { (cd "$1" && find . -xdev \( -path ./proc -o -path ./root \) -prune -o -print | grep --invert-match --extended-regexp '^\./(var/(lib|cache|log)/|tmp|etc/ld\.so\.cache)' | sort); }

# The Debian that this machine has, from where this machine has it.
debian_sources() { apt-get indextargets --format 'deb $(REPO_URI) $(CODENAME) main' 'Identifier: Packages' 'Origin: Debian' | sort --unique; }
mapfile -t apt_options < <(apt-config dump --format '%F "%v";%n' | sed -n '/^Acquire::\(https\?\|Check[^:]*\)\b/s/^/--aptopt=/p')
. /etc/os-release

step "A clean Debian"
debian_sources | mmdebstrap --quiet --variant=apt "${apt_options[@]}" "$VERSION_CODENAME" "$root" -
mount -t proc proc "$root/proc"
mkdir "$root/root/packages"
cp "$packages"/*.deb "$root/root/packages"
in_root() { env -i /usr/sbin/chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
in_root apt-get update -qq
# What the packages need stays; so what is left behind afterwards is theirs.
in_root sh -ec 'cd /root/packages; apt-get install --yes --no-install-recommends -qq $(dpkg-deb --field ./lumo-flash_*.deb Depends | sed "s/([^)]*)//g; s/,/ /g") >/dev/null'
files_of "$root" >"$work/before"

# `compare WHAT`: all files are as they were before.
compare() { files_of "$root" | diff "$work/before" - || { echo "$1: this was left behind, or taken along"; exit 1; }; }

step "Installed and removed"
in_root sh -exc 'cd /root/packages; apt-get install --yes -qq ./lumo-flash_*.deb ./libflashdevice-dev_*.deb ./lumo-flash-dbgsym_*.deb
    apt-get remove --yes -qq lumo-flash libflashdevice-dev lumo-flash-dbgsym' >"$work/said" 2>&1 || { cat "$work/said"; exit 1; }
compare "Removed"

step "Installed, used and purged"
commands "Debian 12" >"$root/root/commands"
cat "$root/root/commands"
in_root sh -exc 'cd /root/packages; . /root/commands' >"$work/said" 2>&1 || { cat "$work/said"; exit 1; }
grep --quiet 'flash is blank' "$work/said"
compare "Purged"

step "A host of one's own"
commands "A host of your own, on Linux" >"$root/root/commands"
cat "$root/root/commands"
in_root sh -exc 'apt-get install --yes --no-install-recommends -qq cmake g++ make
    cd /root; apt-get install --yes -qq ./packages/libflashdevice-dev_*.deb; . /root/commands' >"$work/said" 2>&1 || { tail -50 "$work/said"; exit 1; }
tail -1 "$work/said" | grep 'programmed and compared'

step "The same packages again, from the source archive, without git and without a network, for another user"
mkdir "$work/again" "$work/bin"
cp "$packages"/*.tar.gz "$work/again"
printf '#!/bin/sh\necho "no git here" >&2\nexit 127\n' >"$work/bin/git"
chmod +x "$work/bin/git"
commands "From the source archive" >"$work/commands"
(cd "$work/again" && umask 027 && PATH=$work/bin:$PATH TZ=Asia/Tokyo LC_ALL=C.UTF-8 \
    unshare --net --user --map-user=1234 --map-group=1234 bash -euo pipefail "$work/commands") >"$work/said" 2>&1 || { tail -50 "$work/said"; exit 1; }
again=$(echo "$work"/again/lumo-flash-*/build/packages)
for package in "$packages"/*.deb "$packages"/*.zip; do
    cmp "$package" "$again/$(basename "$package")"
done
echo "Identical: $(cd "$again" && echo *.deb *.zip)"
step "Without the virtual chip: all that the source archive builds then, and nothing under the GPL"
commands "Without the GPL" "$sources/docs/licences.md" >"$work/commands"
cat "$work/commands"
(cd "$work"/again/lumo-flash-*/ && bash -euo pipefail "$work/commands") >"$work/said" 2>&1 || { tail -50 "$work/said"; exit 1; }
build=$(echo "$work"/again/lumo-flash-*/build/no-chip)
for file in bin/lumoflash apps/lumoflash/lumoflash-manual flashdevice/libflashdevice.so validator/hostcheck/flashdevice-check.so; do
    "$sources/cmake/notice.py" "$build" "$file" --without GPL >"$work/notice"
    if ldd "$build/$file" | grep unicorn; then
        echo "$file loads the emulator"
        exit 1
    fi
done
dpkg-deb --extract "$packages"/lumo-flash_*.deb "$work/installed"
"$sources/tests/packages/over_gdb.sh" "$work/installed/usr/bin/lumoflash" "$build/docs/examples/firmware/lumof-example.elf" "$build/bin/lumoflash"
step "Checked"
