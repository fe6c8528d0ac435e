#!/usr/bin/env python3
"""Runs a test that takes long and reads little, unless it has passed with all that it reads as it is now.

usage: if_changed.py NOTE PATH... -- COMMAND...   The note is kept in the build tree; a path is a file, a folder or a program.
"""
import hashlib
import shutil
import subprocess
import sys
from pathlib import Path


def files_of(path):
    """A program by its own file, so that another version of it counts as a change."""
    found = Path(path) if Path(path).exists() else Path(shutil.which(path) or sys.exit(f"if_changed: there is no {path}"))
    return sorted(p for p in found.rglob("*") if p.is_file()) if found.is_dir() else [found]


def digest(paths, command):
    total = hashlib.sha256(repr(command).encode())
    for file in (f for path in paths for f in files_of(path)):
        total.update(f"\n{file} ".encode() + hashlib.sha256(file.read_bytes()).digest())
    return total.hexdigest()


def main(arguments):
    separator = arguments.index("--")
    note, paths, command = Path(arguments[0]), arguments[1:separator], arguments[separator + 1:]
    now = digest(paths, command)
    if note.exists() and note.read_text() == now:
        print("It passed with all as it is now")
        return 0
    note.unlink(missing_ok=True)
    code = subprocess.run(command).returncode
    if code == 0:
        note.write_text(now)
    return code


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
