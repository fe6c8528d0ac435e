#!/usr/bin/env bash
# What was packed is what a user needs: installed into an empty root, it works in an empty environment, from a folder that has
# nothing to do with the one that it was built in.
# usage: check_short.sh SOURCES BUILD
set -euo pipefail
sources=$1 build=$2
packages=$sources/build/packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }
alone() { (cd "$work" && env -i PATH=/usr/bin:/bin LC_ALL=C.UTF-8 HOME="$work/home" WINEPREFIX="$work/wine" WINEDEBUG=-all "$@"); }

[ -f "$packages/SHA256SUMS" ] || fail "There are no packages: scripts/package makes them"
(cd "$packages" && sha256sum --quiet --check SHA256SUMS)

echo "== lintian: no error, no warning"
lintian --allow-root --tag-display-limit 0 --fail-on error,warning "$packages"/*.deb

echo "== Installed into an empty root"
# Which has none of the libraries that the packages depend on: they are the machine's.
database=$work/root/var/lib/dpkg
mkdir -p "$database/info" "$database/updates"
touch "$database/status"
in_root() { dpkg --root="$work/root" --force-not-root --force-depends --log="$work/dpkg.log" "$@" >"$work/said" 2>&1 || fail "$(cat "$work/said")"; }
in_root --install "$packages"/*.deb
root=$work/root/usr
for file in bin/lumoflash bin/validate-plugin lib/flashdevice/plugin/libflashdevice.so lib/flashdevice/plugin/flashdevice-check.so \
        lib/lumo-flash/plugin/libflashdevice.so; do
    file "$root/$file" | grep --quiet ', stripped$' || fail "$file has its symbols"
    id=$(readelf --notes "$root/$file" | sed -n 's/.*Build ID: //p')
    [ -f "$root/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] || fail "The symbols of $file are not beside it"
done
if grep --recursive --files-with-matches --fixed-strings "$sources" "$work/root"; then
    fail "These files tell where they were built"
fi

echo "== What it is made of"
[ -s "$root/share/doc/lumo-flash/NOTICE" ] || fail "There is no notice"
"$sources/cmake/notice.py" "$build" flashdevice/libflashdevice.so --without GPL --without LGPL-3 >"$work/notice"
"$sources/cmake/notice.py" "$build" apps/lumoflash/lumoflash-without-chip --without GPL >"$work/notice"
if "$sources/cmake/notice.py" "$build" bin/lumoflash --without GPL >"$work/notice" 2>&1; then
    fail "The notice does not see that lumoflash is linked with something under the GPL"
fi
if ldd "$build/apps/lumoflash/lumoflash-without-chip" | grep unicorn; then
    fail "The program without the virtual chip loads its emulator"
fi

echo "== The program without the virtual chip, over a GDB server"
"$sources/tests/packages/over_gdb.sh" "$root/bin/lumoflash" "$build/docs/examples/firmware/lumof-example.elf" \
    "$build/apps/lumoflash/lumoflash-without-chip" --plugin "$root/lib/libflashdevice.so" \
    --data "$root/share/lumo-flash" --devices "$root/share/lumo-flash/devices"

echo "== The demo, with the program from the package"
mkdir "$work/demo" "$work/home"
ln -s "$root/bin" "$work/demo/bin"
ln -s "$build/docs" "$work/demo/docs"
alone "$sources/scripts/demo" "$work/demo" >"$work/demo.log" || { cat "$work/demo.log"; exit 1; }
tail -1 "$work/demo.log"

echo "== The example host, built with the package"
cp -r "$root/share/doc/libflashdevice-dev/examples/minimal-host" "$work/host"
alone cmake -S host -B host/build -G Ninja -DCMAKE_PREFIX_PATH="$root" >"$work/host.log"
alone cmake --build host/build >>"$work/host.log" || { cat "$work/host.log"; exit 1; }
alone host/build/minimal-host "$root/lib/libflashdevice.so" | tee "$work/host.log"
grep --quiet 'programmed and compared' "$work/host.log"
alone "$root/bin/validate-plugin" --level starts "$root/lib/libflashdevice.so" >"$work/host.log" || { cat "$work/host.log"; exit 1; }
alone host/build/minimal-host "$root/lib/flashdevice/plugin/flashdevice-check.so" >"$work/host.log" 2>&1
grep --quiet ' kept, 0 broken, ' "$work/host.log"

echo "== The archive for Windows, under Wine"
unzip -q "$packages"/*-windows-x64.zip -d "$work/windows"
folder=$(echo "$work"/windows/*)
unzip -q "$packages"/*-windows-x64-symbols.zip -d "$work/windows-symbols"
has_symbols() { x86_64-w64-mingw32-objdump --section-headers "$1" >"$work/sections" && grep --quiet '\.debug_info' "$work/sections"; }
for file in "$folder"/bin/*; do
    name=$(basename "$file")
    if has_symbols "$file"; then
        fail "$name has its symbols"
    fi
    has_symbols "$work"/windows-symbols/*/"$name.debug" || fail "The symbols of $name are not in the other archive"
done
(cd "$folder/bin" && alone /usr/lib/wine/wine64 "$folder/bin/minimal-host.exe" "Z:$folder/bin/flashdevice.dll") | tee "$work/host.log"
grep --quiet 'programmed and compared' "$work/host.log"
(cd "$folder/bin" && alone /usr/lib/wine/wine64 "$folder/bin/validate-plugin.exe" --level loads "Z:$folder/bin/flashdevice.dll") >"$work/host.log" || { cat "$work/host.log"; exit 1; }
(cd "$folder/bin" && alone /usr/lib/wine/wine64 "$folder/bin/minimal-host.exe" "Z:$folder/bin/flashdevice-check.dll") >"$work/host.log" 2>&1
grep --quiet ' kept, 0 broken, ' "$work/host.log"

echo "== The example host of the archive, built for Windows with it"
cp -r "$folder/examples/minimal-host" "$work/windows-host"
alone cmake -S windows-host -B windows-host/build -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix -DCMAKE_PREFIX_PATH="$folder" >"$work/host.log"
alone cmake --build windows-host/build >>"$work/host.log" || { cat "$work/host.log"; exit 1; }
alone /usr/lib/wine/wine64 windows-host/build/minimal-host.exe "Z:$folder/bin/flashdevice.dll" | tee "$work/host.log"
grep --quiet 'programmed and compared' "$work/host.log"

# Wine's server outlives its programs for some seconds, and writes its registry in the end.
alone /usr/lib/wine/wineserver64 --kill || true
alone /usr/lib/wine/wineserver64 --wait

echo "== Purged"
in_root --purge lumo-flash libflashdevice-dev lumo-flash-dbgsym
[ ! -e "$root" ] || fail "This is left behind: $(find "$root")"
