#!/usr/bin/env bash
# Builds files again from a copy of the sources in another folder, at another time, and compares them to the bit.
# usage: check_reproducible.sh SOURCES BUILD FOLDER PRESET TARGET FILE...
set -euo pipefail
sources=$1 build=$2 folder=$3 preset=$4 target=$5
shift 5
rm -rf "$folder"
mkdir -p "$folder/copy"
tar -C "$sources" --exclude=./build --exclude=./.git -cf - . | tar -C "$folder/copy" -xf -
cd "$folder/copy"
find . \( -name '*.cpp' -o -name '*.c' \) -exec touch {} +
cmake --preset "$preset" -DBUILD_TESTING=OFF -DFLASH_BENCH=OFF >/dev/null
cmake --build --preset "$preset" --target "$target" >/dev/null
for file in "$@"; do
    again=build/$preset/${file#"$build"/}
    cmp "$file" "$again"
    sha256sum "$file" "$again"
done
rm -rf "$folder"
