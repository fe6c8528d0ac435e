"""Gives lumoflash damaged files of every format that it reads: it must come to an end of its own with one of its codes and a
text, soon, and without taking memory.

`hostile.py [--inputs N] [--seed S] [FORMAT…]`; CTest gives the program and the other places as environment variables. What
fails is kept, with the command that repeats it.
"""
import argparse
import os
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from mutations import Mutator

PROGRAM = Path(os.environ["LUMOFLASH"]).resolve()
SOURCE = Path(os.environ["FLASH_SOURCE"]).resolve()
EXAMPLES = Path(os.environ["EXAMPLE_FIRMWARE"]).resolve()
PART = "LumoD1F128"
CODES = range(5)  # an interruption is none of these
MOST_SECONDS = 20
MOST_GROWTH_KIB = 64 * 1024
SANITIZER_CODE = 99
CONFIG = """device = "LumoD1F128"
probe = "virtual:a.chip"
[program]
base = 0x40
erase = "sectors:0-3,7"
verify = "readback"
skip-fill = "0xEE"
[ccfg]
ble = "C2:00:00:00:00:01"
disable-debug = false
[read]
out = "-"
range = "0:16"
[set]
KeepCcfgSetting = true
DeviceFlashloaderFile = "a.elf"
[property]
Other = ["a", 'b']
"""
JOB = """device = "LumoD1F128"
files = ["no-such.elf", "a.bin@0x100"]
hashes = {"a.bin" = "00112233445566778899aabbccddeeff00112233445566778899AABBCCDDEEFF"}
identities = ["02:00:00:00:00:00:00:01"]
database = "sqlite:line.db"
assign = ["ieee", "ble"]
start = "command"
count = 6
on-good = "sh -c 'echo $0' {ieee} \\"{slot}\\""
station = "bench 1"
[program]
verify = "crc"
base = 0x40
skip-pages = "0-3,7"
[[slot]]
name = "left"
probe = "virtual:chips/{n}.chip"
[[slot]]
name = "right"
probe = "gdb:127.0.0.1:3333,reset=monitor reset"
"""
POOL = "kind,address\n" + "".join(f"ieee,02:00:00:00:00:00:{n:02X}:01\nble,C2:00:00:00:{n:02X}:01\n" for n in range(20))


class Trial:
    def __init__(self, folder):
        self.folder = folder
        self.chip = folder / "chip"
        self.failures = 0
        self.environment = {**os.environ, "XDG_STATE_HOME": str(folder / "state"), "HOME": str(folder),
                            "ASAN_OPTIONS": f"exitcode={SANITIZER_CODE}:quarantine_size_mb=1:detect_leaks=0"}
        self.run(["-d", PART, "--probe", f"virtual:{self.chip}", "erase"])

    def run(self, arguments):
        """The exit code, standard error, the seconds of computing and the most memory, in KiB."""
        limit = (MOST_SECONDS, MOST_SECONDS)
        with open(self.folder / "error", "w+b") as error:
            process = subprocess.Popen([str(PROGRAM), *map(str, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       stderr=error, env=self.environment,
                                       preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, limit))
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            error.seek(0)
            text = error.read().decode(errors="replace")
        return process.returncode, text, usage.ru_utime + usage.ru_stime, usage.ru_maxrss

    def samples(self, name):
        examples = [path.read_bytes() for path in sorted(EXAMPLES.glob("lumod-*.elf"))]
        text = bytes(i * 37 & 0xFF for i in range(300))
        converted = []
        for kind in ("ihex", "srec"):
            (self.folder / "sample.bin").write_bytes(text)
            subprocess.run(["objcopy", "-I", "binary", "-O", kind, "--change-addresses", "0x1234", "sample.bin", "sample"],
                           cwd=self.folder, check=True)
            converted.append((self.folder / "sample").read_bytes())
        return {"elf": examples, "hex": converted[:1], "srec": converted[1:], "bin": [text], "config": [CONFIG.encode()],
                "job": [JOB.encode()], "pool": [POOL.encode(), self.exported_pool()],
                "chip": [self.chip.read_bytes()], "description": [p.read_bytes() for p in sorted((SOURCE / "devices").glob("*d1f128.xml"))]}[name]

    def exported_pool(self):
        self.run(["pool", "create", "sqlite:pool.db", "--ble", "C2:00:00:00:FF:00-C2:00:00:00:FF:0F"])
        self.run(["pool", "export", "sqlite:pool.db", "--out", "pool.csv"])
        return (self.folder / "pool.csv").read_bytes()

    def command(self, name, content):
        """Where the content goes, and what reads it."""
        file = self.folder / f"input.{name}"
        if name == "description":
            file = self.folder / "devices" / "a.xml"
            file.parent.mkdir(exist_ok=True)
        file.write_bytes(content)
        part = ["-d", PART, "--probe", "virtual"]
        return file, {"config": ["--config", file, "devices"], "job": ["line", "run", file],
                      "pool": ["pool", "import", "sqlite:pool.db", file], "chip": ["-d", PART, "--probe", f"virtual:{file}", "info"],
                      "description": ["--devices", file.parent, *part, "info"],
                      "bin": [*part, "program", "--dry-run", file, "--format", "bin", "--base", "0"]}.get(
                          name, [*part, "program", "--dry-run", file, "--format", name])

    def complaint(self, code, text, seconds, growth):
        if code == SANITIZER_CODE or "Sanitizer" in text or "runtime error" in text:
            return "the sanitizer stopped it"
        if code not in CODES:
            return f"it ended with {code}"
        if code != 0 and not any(line.startswith("error: ") for line in text.splitlines()):
            return f"it ended with {code} and no reason"
        if seconds > MOST_SECONDS / 2:
            return f"it took {seconds:.1f} s"
        return f"it took {growth} KiB more than usual" if growth > MOST_GROWTH_KIB else None

    def try_format(self, name, inputs, seed):
        generator = random.Random(f"{seed} {name}")
        samples = self.samples(name)
        mutator = Mutator(generator, samples)
        usual = max(self.run(self.command(name, sample)[1])[3] for sample in samples)
        codes, slowest, most = {}, 0.0, 0
        for index in range(inputs):
            file, command = self.command(name, mutator.damaged())
            code, text, seconds, memory = self.run(command)
            codes[code] = codes.get(code, 0) + 1
            slowest, most = max(slowest, seconds), max(most, memory - usual)
            if complaint := self.complaint(code, text, seconds, memory - usual):
                self.failures += 1
                kept = Path(tempfile.mkdtemp(prefix="hostile-")) / file.name
                shutil.copy(file, kept)
                print(f"{name} {index}: {complaint}: {' '.join(map(str, command)).replace(str(file), str(kept))}\n{text[-1500:]}")
        ends = ", ".join(f"{count} with {code}" for code, count in sorted(codes.items()))
        print(f"{name}: {inputs} inputs ended {ends}; at most {slowest:.2f} s and {max(most, 0) / 1024:.1f} MiB more than usual", flush=True)
        return codes


def main():
    formats = ["elf", "hex", "srec", "bin", "config", "chip", "description", "job", "pool"]
    parser = argparse.ArgumentParser()
    parser.add_argument("--inputs", type=int, default=1000, help="for each format")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("formats", nargs="*", metavar="FORMAT", help=", ".join(formats))
    arguments = parser.parse_args()
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        trial = Trial(Path(folder))
        for name in arguments.formats or formats:
            codes = trial.try_format(name, arguments.inputs, arguments.seed)
            # Most damage is found; a run in which nothing is refused has not tried anything.
            if name != "bin" and arguments.inputs >= 5 and not any(code in codes for code in (2, 4)):
                trial.failures += 1
                print(f"{name}: nothing was refused")
    print(f"{trial.failures} failures in {time.monotonic() - start:.0f} s, seed {arguments.seed}")
    return 1 if trial.failures else 0


if __name__ == "__main__":
    sys.exit(main())
