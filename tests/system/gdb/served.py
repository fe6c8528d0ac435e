"""What the tests of `lumoflash gdbserver` share: a server on a virtual chip of its own, and the debugger that everybody has.

CTest gives the programs and the example firmware as environment variables. Servers take free ports and say which.
"""
import os
import re
import signal
import socket
import subprocess
import tempfile
import threading
import unittest
from pathlib import Path

PROGRAM = os.environ["LUMOFLASH"]
EXAMPLES = Path(os.environ["EXAMPLE_FIRMWARE"])
SCRIPT = os.environ["GDB_SCRIPT"]
GDB = os.environ["GDB"]
GCC = os.environ["ARM_GCC"]
LIMIT = 120  # seconds; only ever reached when something hangs
EXAMPLE = {"LumoD1F128": "lumod-example.elf", "LumoF2F352": "lumof-example.elf"}
SECTOR = {"LumoD1F128": 4096, "LumoF2F352": 8192}
FLASH = {"LumoD1F128": 32 * 4096, "LumoF2F352": 44 * 8192}


def pattern(length, seed=1):
    return bytes((i * 7 + (i >> 8) * 13 + seed) & 0xFF for i in range(length))


def packet(payload):
    return b"$" + payload + b"#%02x" % (sum(payload) & 0xFF)


class Case(unittest.TestCase):
    part = "LumoF2F352"

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name)
        self.chip = self.path / "chip.bin"
        (self.path / "server.log").write_text("")
        os.environ["XDG_STATE_HOME"] = str(self.path)  # notes of loads that failed

    @property
    def example(self):
        return EXAMPLES / EXAMPLE[self.part]

    def lumoflash(self, *arguments, code=0, probe=None):
        result = subprocess.run(
            [PROGRAM, "--device", self.part, "--probe", probe or f"virtual:{self.chip}", *arguments],
            capture_output=True, cwd=self.path, timeout=LIMIT, stdin=subprocess.DEVNULL)
        self.assertEqual(result.returncode, code, f"{arguments}\n{result.stdout[-2000:]}\n{result.stderr[-2000:]}")
        return result

    def flash(self):
        self.lumoflash("read", "--out", "flash.bin")
        return (self.path / "flash.bin").read_bytes()

    def serve(self, *arguments, before=("--yes",), probe=None):
        """A server in the background; its address, once it listens."""
        with (self.path / "server.log").open("ab") as log:
            self.server = subprocess.Popen(
                [PROGRAM, "--device", self.part, "--probe", probe or f"virtual:{self.chip}", *before, "gdbserver",
                 "--listen", "127.0.0.1:0", *arguments],
                stdout=subprocess.PIPE, stderr=log, stdin=subprocess.DEVNULL, cwd=self.path)
        self.addCleanup(self.end_server, self.server)
        line = self.server.stdout.readline().decode()
        self.assertRegex(line, r"^listening on 127\.0\.0\.1:\d+\n$", self.log())
        return line.split()[-1]

    def end_server(self, server=None):
        """What else it has written to standard output, and its exit code; nothing when it has ended before."""
        server = server or self.server
        if server.stdout.closed:
            return None
        if server.poll() is None:
            server.send_signal(signal.SIGTERM)
            try:
                server.wait(LIMIT)
            finally:
                server.kill()
                server.wait()
        rest = server.stdout.read()
        server.stdout.close()
        return rest, server.returncode

    def log(self):
        return (self.path / "server.log").read_text()

    def gdb_command(self, address, *commands, file=None):
        arguments = [GDB, "--batch", "-nx"]
        for command in ("set confirm off", "set tcp connect-timeout 60", "set remotetimeout 60",
                        f"target extended-remote {address}", *commands):
            arguments += ["-ex", command]
        return arguments + ([str(file)] if file else [])

    def gdb(self, address, *commands, file=None, code=0):
        """Both outputs of GDB in batch mode, whose exit code is that of the last command."""
        result = subprocess.run(self.gdb_command(address, *commands, file=file), capture_output=True, cwd=self.path,
                                timeout=LIMIT, stdin=subprocess.DEVNULL)
        text = result.stdout.decode() + result.stderr.decode()
        self.assertEqual(result.returncode, code, text + self.log())
        return text

    def elf(self, name, *sections, entry=0):
        """An ELF file with a section for each pair of address and bytes."""
        source, flags = "", []
        for index, (address, data) in enumerate(sections):
            (self.path / f"{name}.{index}.bin").write_bytes(data)
            source += f'.section .s{index},"aw"\n.incbin "{name}.{index}.bin"\n'
            flags.append(f"-Wl,--section-start=.s{index}=0x{address:x}")
        (self.path / f"{name}.s").write_text(source)
        subprocess.run([GCC, "-nostdlib", "-Wl,--build-id=none", f"-Wl,-e,0x{entry:x}", *flags, f"{name}.s", "-o",
                        f"{name}.elf"], check=True, cwd=self.path)
        return self.path / f"{name}.elf"

    def values(self, text):
        """What `print` has printed, in order."""
        return re.findall(r"^\$\d+ = (.*)$", text, re.MULTILINE)

    def connect(self, address):
        host, port = address.split(":")
        connection = socket.create_connection((host, int(port)), LIMIT)
        self.addCleanup(connection.close)
        return connection


class Relay:
    """Stands between a debugger and a server, and calls `on_bytes` with what the debugger sends before it is passed on."""

    def __init__(self, case, address, on_bytes):
        self.listener = socket.create_server(("127.0.0.1", 0))
        case.addCleanup(self.listener.close)
        self.address = "127.0.0.1:%d" % self.listener.getsockname()[1]
        self.server = case.connect(address)
        self.on_bytes = on_bytes
        self.thread = threading.Thread(target=self.run)
        self.thread.start()
        case.addCleanup(self.thread.join, LIMIT)

    def run(self):
        client, _ = self.listener.accept()
        back = threading.Thread(target=self.pump, args=(self.server, client, lambda data: data))
        back.start()
        self.pump(client, self.server, self.on_bytes)
        back.join(LIMIT)
        client.close()

    @staticmethod
    def pump(source, sink, change):
        try:
            while data := source.recv(1 << 16):
                sink.sendall(change(data))
        except OSError:
            pass
        for end in (source, sink):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
