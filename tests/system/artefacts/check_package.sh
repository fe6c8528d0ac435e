#!/usr/bin/env bash
# Installs the build, builds a host project against the installed package with C++17, and runs it.
# usage: check_package.sh BUILD CONSUMER FOLDER
set -euo pipefail
build=$1 consumer=$2 folder=$3
rm -rf "$folder"
cmake --install "$build" --prefix "$folder/installed" >/dev/null
cmake -S "$consumer" -B "$folder/build" -G Ninja -DCMAKE_PREFIX_PATH="$folder/installed" >/dev/null
cmake --build "$folder/build" >/dev/null
"$folder/build/consumer"
rm -rf "$folder"
