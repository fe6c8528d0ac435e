#!/usr/bin/env bash
# What was packed is what a user needs: taken out of the packages, it works in an empty environment, from a folder that has
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

echo "== What is in them"
for package in lumo-flash libflashdevice-dev lumo-flash-dbgsym; do
    dpkg-deb --extract "$packages/${package}"_*.deb "$work/root"
done
root=$work/root/usr
for file in bin/lumoflash lib/flashdevice/plugin/libflashdevice.so lib/lumo-flash/plugin/libflashdevice.so; do
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
export XDG_STATE_HOME=$work/state
coproc server { exec "$root/bin/lumoflash" --device LumoF2F352 --probe virtual gdbserver --listen 127.0.0.1:0 --once 2>"$work/server.log"; }
server_pid=$server_PID  # bash forgets it when the server ends
read -r line <&"${server[0]}"
port=$(echo "$line" | sed 's/.*127\.0\.0\.1:\([0-9]*\).*/\1/')
"$build/apps/lumoflash/lumoflash-without-chip" --device LumoF2F352 --plugin "$root/lib/libflashdevice.so" \
    --data "$root/share/lumo-flash" --devices "$root/share/lumo-flash/devices" \
    --probe "gdb:127.0.0.1:$port" program "$build/docs/examples/firmware/lumof-example.elf" || { cat "$work/server.log"; exit 1; }
wait "$server_pid" || true

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

echo "== The archive for Windows, under Wine"
unzip -q "$packages"/*-windows-x64.zip -d "$work/windows"
folder=$(echo "$work"/windows/*)
(cd "$folder/bin" && alone /usr/lib/wine/wine64 "$folder/bin/minimal-host.exe" "Z:$folder/bin/flashdevice.dll") | tee "$work/host.log"
grep --quiet 'programmed and compared' "$work/host.log"
