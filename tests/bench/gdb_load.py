#!/usr/bin/env python3
"""How long stock GDB takes to load all of flash through `lumoflash gdbserver`, how much of that is not the chip's own, and
what travels when `lumoflash` itself programs over a GDB server.

The chip's own time is what passes between the packet that ends a load and its answer: planning, programming, verifying.
usage: gdb_load.py LUMOFLASH GDB ARM_GCC
"""
import json
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

PART, FLASH_BYTES = "LumoF2F352", 352 * 1024


class Watch:
    """Passes packets on, and measures from the end of a load to the answer."""

    def __init__(self, server):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.server = socket.create_connection(server)
        self.finished = self.answered = None
        self.packets = self.bytes = self.bytes_back = 0
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        client, _ = self.listener.accept()
        for end in (client, self.server):
            end.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        threading.Thread(target=self.pump, args=(self.server, client, self.see_answer), daemon=True).start()
        self.pump(client, self.server, self.see_request)

    def see_request(self, data):
        self.bytes += len(data)
        self.packets += data.count(b"$")
        if b"vFlashDone" in data:
            self.finished = time.monotonic()

    def see_answer(self, data):
        self.bytes_back += len(data)
        if self.finished and not self.answered and b"$OK" in data:
            self.answered = time.monotonic()

    @staticmethod
    def pump(source, sink, see):
        try:
            while data := source.recv(1 << 16):
                see(data)
                sink.sendall(data)
        except OSError:
            pass
        sink.close()


def make_image(folder, gcc):
    (folder / "flash.bin").write_bytes(bytes((i * 7 + (i >> 8) * 13) & 0xFF for i in range(FLASH_BYTES - 0x58)))
    (folder / "flash.s").write_text('.section .flash,"ax"\n.incbin "flash.bin"\n')
    subprocess.run([gcc, "-nostdlib", "-Wl,--section-start=.flash=0", "-Wl,-e,0", "flash.s", "-o", "flash.elf"],
                   check=True, cwd=folder, stderr=subprocess.DEVNULL)


def serve(program):
    """A server that ends with its first client, and who watches what that sends."""
    server = subprocess.Popen([program, "--device", PART, "gdbserver", "--listen", "127.0.0.1:0", "--once"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    host, port = server.stdout.readline().decode().split()[-1].split(":")
    watch = Watch((host, int(port)))
    return server, watch, "127.0.0.1:%d" % watch.listener.getsockname()[1]


def measure(program, gdb, folder):
    server, watch, place = serve(program)
    script = ("python import time; begin = time.monotonic(); gdb.execute('load'); "
              "print('took', time.monotonic() - begin)")
    out = subprocess.run([gdb, "--batch", "-nx", "-ex", f"target extended-remote {place}", "-ex", script, "flash.elf"],
                         cwd=folder, capture_output=True, text=True, check=True).stdout
    server.wait()
    whole = float(out.rsplit("took ", 1)[1].split()[0])
    return whole, watch.answered - watch.finished, watch


def count_over_a_server(program, folder):
    """Packets that are sent, and bytes both ways, of a whole load."""
    server, watch, place = serve(program)
    subprocess.run([program, "--device", PART, "--probe", f"gdb:{place},id-code=0x10000001", "--quiet", "program",
                    "flash.elf"], cwd=folder, check=True)
    server.wait()
    return watch.packets, watch.bytes + watch.bytes_back


def count_directly(program, folder):
    """Transfers over the debug link, and their bytes."""
    subprocess.run([program, "--device", PART, "--trace", "trace.json", "--quiet", "program", "flash.elf"], cwd=folder,
                   check=True)
    trace = json.loads((folder / "trace.json").read_text())
    link = [event for event in trace["traceEvents"] if event["ph"] == "X" and event["tid"] == 1]
    return len(link), sum(event["args"].get("bytes", 0) for event in link)


def main():
    program, gdb, gcc = sys.argv[1:]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        make_image(folder, gcc)
        os.environ["XDG_STATE_HOME"] = name
        results = [measure(program, gdb, folder) for _ in range(5)]
        counts = [("over a GDB server", "packets", count_over_a_server(program, folder)),
                  ("directly", "transfers", count_directly(program, folder))]
    whole, own, watch = min(results, key=lambda result: result[0])
    print(f"load of {FLASH_BYTES // 1024} KiB: {whole:.3f} s, of which the chip's own {own:.3f} s; "
          f"the rest is {(whole - own) * 1000:.0f} ms, {100 * (whole - own) / whole:.0f} %")
    print(f"{watch.packets} packets and {watch.bytes} bytes from GDB in the whole visit, "
          f"{watch.bytes / FLASH_BYTES:.2f} for each byte of data")
    for way, things, (number, size) in counts:
        print(f"`program` {way}: {number} {things} and {size} bytes, "
              f"{number / FLASH_BYTES * 1024:.2f} and {size / FLASH_BYTES * 1024:.0f} for each KiB")


if __name__ == "__main__":
    main()
