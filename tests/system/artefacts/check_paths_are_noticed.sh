#!/usr/bin/env bash
# A twin of the sources whose build names its own folder must fail the check of reproducible builds.
# usage: check_paths_are_noticed.sh SOURCES FOLDER PRESET TARGET FILE-BELOW-BUILD
set -euo pipefail
sources=$1 folder=$2 preset=$3 target=$4 file=$5
rm -rf "$folder"
mkdir -p "$folder/twin"
tar -C "$sources" --exclude=./build --exclude=./.git -cf - . | tar -C "$folder/twin" -xf -
cd "$folder/twin"
grep -rl -e -ffile-prefix-map --include=CMakeLists.txt --include=*.cmake . | xargs sed -i 's/-ffile-prefix-map=[^ ;)"]*//g'
cmake --preset "$preset" -DBUILD_TESTING=OFF -DFLASH_BENCH=OFF >/dev/null
cmake --build --preset "$preset" --target "$target" >/dev/null
if "$sources/tests/system/artefacts/check_reproducible.sh" "$folder/twin" "$folder/twin/build/$preset" "$folder/again" "$preset" \
    "$target" "$folder/twin/build/$preset/$file" >"$folder/said" 2>&1; then
    cat "$folder/said"
    echo "A build that names its folder was not noticed"
    exit 1
fi
grep "differ: " "$folder/said"
rm -rf "$folder"
