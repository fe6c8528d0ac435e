#!/usr/bin/env bash
# A program without the virtual chip programs one behind a GDB server, which is a program that has it; what the server then
# holds is read back and compared.
# usage: over_gdb.sh SERVER EXAMPLE.elf PROGRAM [OPTION...]
set -euo pipefail
server=$1 example=$2 program=("${@:3}" --device LumoF2F352)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_STATE_HOME=$work/state

# `over_gdb COMMAND...`: while the server serves the chip.
over_gdb() {
    local port line pid
    coproc serving { exec "$server" --device LumoF2F352 --probe "virtual:$work/chip.bin" gdbserver --listen 127.0.0.1:0 --once 2>"$work/server.log"; }
    pid=$serving_PID  # bash forgets it when the server ends
    read -r line <&"${serving[0]}"
    port=$(echo "$line" | sed 's/.*127\.0\.0\.1:\([0-9]*\).*/\1/')
    "${program[@]}" --probe "gdb:127.0.0.1:$port" "$@" || { cat "$work/server.log"; exit 1; }
    wait "$pid" || true
}
over_gdb program "$example"
over_gdb verify "$example"
"$server" --device LumoF2F352 --probe "virtual:$work/chip.bin" verify "$example"
said=$("${program[@]}" --probe virtual info 2>&1) && { echo "There is a virtual chip"; exit 1; }
grep 'built without the virtual chip' <<<"$said"
