#!/bin/sh
# `same_run.sh FOLDER PROGRAM ARGUMENT...`: a fuzz target that starts from an empty FOLDER, and tries the same inputs in each
# run. libFuzzer mutates towards what a program compares, addresses too, so these are fixed where the system lets them be
# (some containers do not; then a run has inputs of its own).
rm -rf "$1" && mkdir -p "$1" || exit 1
shift
fixed=
setarch -R true 2>/dev/null && fixed="setarch -R"
exec env -i PATH=/usr/bin:/bin ${ASAN_OPTIONS:+"ASAN_OPTIONS=$ASAN_OPTIONS"} $fixed "$@"
