#!/usr/bin/env bash
# Builds files again from a copy of the sources in another folder, at another time, and compares them to the bit. The folder
# stays, so that the next time only what has changed is built again; where that leaves a difference, all is.
# usage: check_reproducible.sh SOURCES BUILD FOLDER PRESET TARGET FILE...
set -euo pipefail
sources=$1 build=$2 folder=$3 preset=$4 target=$5
shift 5
mkdir -p "$folder"
cd "$folder"

# Gives `copy` the sources as they are now; what is not as it was gets the present time.
update_copy() {
    local file
    rm -rf new
    mkdir new
    tar -C "$sources" --exclude=./build --exclude=./.git -cf - . | tar -C new -mxf -
    [ -d copy ] || mv new copy
    if [ -d new ]; then
        { diff --brief --recursive --new-file --exclude=build new copy || [ $? -eq 1 ]; } |
            sed -n 's/^Files new\/\(.*\) and .* differ$/\1/p' |
            while IFS= read -r file; do
                mkdir -p "$(dirname "copy/$file")"
                rm -f "copy/$file"
                [ ! -e "new/$file" ] || mv "new/$file" "copy/$file"
            done
    fi
    rm -rf new
}

build_copy() (
    cd copy
    [ "build/$preset/build.ninja" -nt CMakePresets.json ] || cmake --preset "$preset" -DBUILD_TESTING=OFF -DFLASH_BENCH=OFF >/dev/null
    cmake --build --preset "$preset" --target "$target" >/dev/null
)

again() { printf '%s' "copy/build/$preset/${1#"$build"/}"; }

is_the_same() {
    local file
    for file; do
        cmp "$file" "$(again "$file")" || return 1
    done
}

wasThere=$([ ! -d copy ] || echo yes)
update_copy
build_copy
if [ "$wasThere" ] && ! is_the_same "$@"; then
    rm -rf copy
    update_copy
    build_copy
fi
is_the_same "$@"
for file; do
    sha256sum "$file" "$(again "$file")"
done
