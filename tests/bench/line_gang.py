#!/usr/bin/env python3
"""How much eight slots get done beside one, with chips that take their time on the clock on the wall; what a chip costs
besides: the program's start, its processor time, its memory.

usage: line_gang.py LUMOFLASH PACED_LUMOFLASH
"""
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PART, FLASH_BYTES, CHIPS_IN_A_SLOT, SLOTS, PACE = "LumoF2F352", 352 * 1024, 3, 8, "5"


def write_job(folder, slots, count):
    (folder / "app.bin").write_bytes(os.urandom(FLASH_BYTES // 2))
    text = f'device = "{PART}"\nfiles = ["app.bin@0"]\ncount = {count}\n'
    for number in range(slots):
        text += f'[[slot]]\nname = "{number + 1}"\nprobe = "virtual:chips/{{n}}.chip"\n'
    (folder / "job.toml").write_text(text)


def run_line(program, slots):
    """Seconds for so many chips in each of the slots."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        write_job(folder, slots, slots * CHIPS_IN_A_SLOT)
        environment = {**os.environ, "XDG_STATE_HOME": name, "LUMOFLASH_PACE": PACE}
        start = time.monotonic()
        out = subprocess.run([program, "--json", "line", "run", "job.toml"], cwd=folder, env=environment, check=True,
                             stdout=subprocess.PIPE).stdout
        seconds = time.monotonic() - start
        good = sum(1 for line in out.splitlines() if json.loads(line).get("event") == "verdict")
        assert good == slots * CHIPS_IN_A_SLOT
        return seconds


def cost(command, folder):
    """Seconds on the wall, seconds of the processor, most MiB."""
    start = time.monotonic()
    process = subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    assert process.returncode == 0, command
    return time.monotonic() - start, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    program, paced = (str(Path(path).resolve()) for path in sys.argv[1:3])
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        write_job(folder, 1, 1)
        chip = [program, "--json", "--device", PART, "--probe", "virtual:a.chip", "program", "app.bin@0"]
        cost(chip, folder)
        starts = min(cost([program, "-V"], folder)[0] for _ in range(10))
        _, processor, memory = min(cost(chip, folder) for _ in range(5))
        infos = min(cost([program, "--device", PART, "--probe", "virtual", "info"], folder)[0] for _ in range(10))
        print(f"start of the program           {starts * 1000:7.1f} ms")
        print(f"start, and a chip identified   {infos * 1000:7.1f} ms")
        print(f"processor time of one chip     {processor * 1000:7.1f} ms, nothing to write")
        print(f"memory of one slot             {memory:7.1f} MiB")
    one, many = run_line(paced, 1), run_line(paced, SLOTS)
    print(f"1 slot    {CHIPS_IN_A_SLOT / one:6.3f} chips/s")
    print(f"{SLOTS} slots   {SLOTS * CHIPS_IN_A_SLOT / many:6.3f} chips/s, {SLOTS * one / many:.2f} times as many (at least 7.5)")
    return 0 if SLOTS * one / many >= 7.5 else 1


if __name__ == "__main__":
    sys.exit(main())
