#!/usr/bin/env bash
# Builds the module again from a copy of the sources in another folder, at another time, and compares the two files.
# usage: check_reproducible.sh SOURCES MODULE FOLDER PRESET
set -euo pipefail
sources=$1 module=$2 folder=$3 preset=$4
rm -rf "$folder"
mkdir -p "$folder/copy"
tar -C "$sources" --exclude=./build --exclude=./.git -cf - . | tar -C "$folder/copy" -xf -
cd "$folder/copy"
find . -name '*.cpp' -exec touch {} +
cmake --preset "$preset" -DBUILD_TESTING=OFF -DFLASH_BENCH=OFF >/dev/null
cmake --build --preset "$preset" --target flashdevice >/dev/null
again=$(find "build/$preset/flashdevice" -maxdepth 1 -name "$(basename "$module")")
cmp "$module" "$again"
sha256sum "$module" "$again"
rm -rf "$folder"
