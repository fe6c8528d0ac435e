"""What the tests of the program lumoflash share: running it on a virtual chip of its own, and files to program.

CTest gives the program, the source folder, the example firmware and plug-ins as environment variables.
"""
import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.environ["LUMOFLASH"]
SOURCE = Path(os.environ["FLASH_SOURCE"])
EXAMPLES = Path(os.environ["EXAMPLE_FIRMWARE"])
NO_PLUGIN = os.environ["NO_PLUGIN"]
HANGING_PLUGIN = os.environ["HANGING_PLUGIN"]
SCHEMA = json.loads((SOURCE / "docs/lumoflash-events.schema.json").read_text())
SECTOR = {"LumoD1F64": 4096, "LumoF2F352": 8192}
FLASH = {"LumoD1F64": 16 * 4096, "LumoF2F352": 44 * 8192}


def pattern(length, seed=1):
    return bytes((i * 7 + (i >> 8) * 13 + seed) & 0xFF for i in range(length))


def ccfg(debug=0xFF, protect=b"\xff" * 8):
    area = bytearray(b"\xff" * 0x58)
    area[8:12] = bytes([1, 0, 0x58, 0])
    area[0x58 - 0x29] = debug
    area[0x58 - 0x20:0x58 - 0x18] = protect
    return bytes(area)


def srec(address, data):
    """One S3 record per 16 bytes, and the end."""
    lines = []
    for offset in range(0, len(data), 16):
        piece = data[offset:offset + 16]
        body = bytes([len(piece) + 5]) + (address + offset).to_bytes(4, "big") + piece
        lines.append("S3" + body.hex().upper() + "%02X" % (~sum(body) & 0xFF))
    return "\n".join(lines + ["S70500000000FA"]) + "\n"


def ihex(address, data):
    def record(kind, offset, piece):
        body = bytes([len(piece)]) + offset.to_bytes(2, "big") + bytes([kind]) + piece
        return ":" + body.hex().upper() + "%02X" % (-sum(body) & 0xFF)
    lines = [record(4, 0, (address >> 16).to_bytes(2, "big"))]
    lines += [record(0, (address + i) & 0xFFFF, data[i:i + 16]) for i in range(0, len(data), 16)]
    return "\n".join(lines + [record(1, 0, b"")]) + "\n"


class Case(unittest.TestCase):
    device = "LumoD1F64"

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = Path(self.folder.name)
        self.chip = self.path / "chip.bin"
        state = tempfile.TemporaryDirectory()
        self.addCleanup(state.cleanup)
        os.environ["XDG_STATE_HOME"] = state.name  # whatever a test leaves behind is its own

    def file(self, name, content):
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return str(path)

    def run_raw(self, *arguments, code=0, environment=None, folder=None, **options):
        source = {} if "input" in options else {"stdin": subprocess.DEVNULL}
        result = subprocess.run([PROGRAM, *arguments], capture_output=True, cwd=folder or self.path, timeout=120,
                                env={**os.environ, **(environment or {})}, **source, **options)
        self.assertEqual(result.returncode, code, f"{arguments}\n{result.stdout[-2000:]}\n{result.stderr[-2000:]}")
        return result.stdout, result.stderr.decode()

    def probe(self):
        return f"virtual:{self.chip}"

    def run_chip(self, *arguments, code=0, **options):
        return self.run_raw("--device", self.device, "--probe", self.probe(), *arguments, code=code, **options)

    def events(self, *arguments, code=0):
        out, _ = self.run_chip("--json", *arguments, code=code)
        events = [json.loads(line) for line in out.decode().splitlines()]
        for event in events:
            jsonschema.validate(event, SCHEMA)
        self.assertEqual(events[0]["event"], "start")
        self.assertEqual(events[-1]["event"], "result")
        self.assertEqual(events[-1]["exitCode"], code)
        return events

    def signal_while_it_programs(self, image, *signals):
        """Starts a load of the file, sends the signals when data is on its way, and gives the end: code, output, errors."""
        process = subprocess.Popen([PROGRAM, "--device", self.device, "--probe", f"virtual:{self.chip}", "--json", "program", image,
                                    "--base", "0"], cwd=self.path, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for line in process.stdout:
            event = json.loads(line)
            if event["event"] == "phase" and event["phase"] == "program" and event["state"] == "progress":
                for number in signals:
                    process.send_signal(number)
                break
        out, err = process.communicate(timeout=120)
        return process.returncode, out, err

    def new_chip(self):
        self.run_chip("erase")

    def flash(self, address=0, length=None):
        length = FLASH[self.device] - address if length is None else length
        out, _ = self.run_chip("read", "--out", "-", "--range", f"{address}:{length}")
        return out
