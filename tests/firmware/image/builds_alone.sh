#!/bin/sh
# Builds firmware/ alone and compares what its images load with others: builds_alone.sh SOURCES BUILD-TREE OBJCOPY IMAGE…
set -eu
sources=$1 build=$2 objcopy=$3
shift 3
rm -rf "$build"
cmake -G Ninja -S "$sources" -B "$build"
cmake --build "$build"
for image; do
    alone=$build/$(basename "$image")
    "$objcopy" -O binary "$alone" "$alone.bin"
    "$objcopy" -O binary "$image" "$alone.other.bin"
    cmp "$alone.bin" "$alone.other.bin"
done
