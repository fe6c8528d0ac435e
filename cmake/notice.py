#!/usr/bin/env python3
"""Writes what a program or module is made of besides this project's own code, and under which licences.

usage: notice.py BUILD TARGET [--out FILE] [--without LICENCE]...

It asks the build itself: libraries are those of the target's link line, headers those that its objects were compiled
with; the package that a file belongs to has its licence in cmake/packaging/licences.txt. A package that is not in that list fails,
and so does one under a licence that begins like one that is named with --without.
"""
import argparse
import fnmatch
import re
import shlex
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
# Their texts need not come along: the operating system has them, or the exception says so.
SYSTEM = ("LGPL-2.1", "GPL-3.0-or-later WITH GCC", "GPL-2.0-only WITH Linux", "ZPL-2.1")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def table():
    lines = (SOURCE / "cmake/packaging/licences.txt").read_text().splitlines()
    return [[cell.strip() for cell in line.split("|")] for line in lines if line and not line.startswith("#")]


def linked_files(build, target):
    """Libraries from outside on the link line, as files."""
    words = shlex.split(output_of("ninja", "-C", build, "-t", "commands", "-s", target).splitlines()[-1])
    files = {word for word in words if re.search(r"\.(so|a)(\.[0-9.]+)?$", word) and word.startswith("/")
             and not Path(word).is_relative_to(Path(build).resolve())}
    compiler = next(word for word in words if re.search(r"(g|clang)\+\+[^/]*$", word))
    usual = ["-lstdc++", "-lgcc", "-lc"] if "mingw" not in compiler else ["-lstdc++", "-lgcc", "-lmingw32"]
    for word in [word for word in words if re.match(r"-l\w", word)] + usual:
        for ending in ".so", ".a":
            found = output_of(compiler, f"-print-file-name=lib{word[2:]}{ending}").strip()
            if found.startswith("/"):
                files.add(found)
                break
    return files


def included_files(build, target):
    """Headers from outside that the target's objects were compiled with."""
    objects = set(re.findall(r" -o (\S+\.o(?:bj)?) ", output_of("ninja", "-C", build, "-t", "commands", target)))
    files, wanted = set(), False
    for line in output_of("ninja", "-C", build, "-t", "deps").splitlines():
        if not line.startswith(" "):
            wanted = line.split(":")[0] in objects
        elif wanted and line.strip().startswith("/usr/"):
            files.add(line.strip())
    return files


def packages_of(files):
    packages = {}
    names = sorted({str(Path(file).resolve()) for file in files})
    for start in range(0, len(names), 500):
        asked = subprocess.run(["dpkg", "-S", *names[start:start + 500]], capture_output=True, text=True)
        if "no path found" in asked.stderr:
            sys.exit(f"These belong to no package, so nobody knows their licence:\n{asked.stderr}")
        for line in asked.stdout.splitlines():
            package, file = line.split(": ", 1)
            packages[package.split(",")[0].split(":")[0]] = file
    return packages


def notice(target, linked, included):
    rows, unknown = {}, []
    for package, file in {**included, **linked}.items():
        row = next((row for row in table() if fnmatch.fnmatch(package, row[0])), None)
        if row is None:
            unknown.append(f"{package} (for {file})")
        else:
            rows.setdefault((row[1], row[2]), set()).add(package)
    if unknown:
        sys.exit(f"{target} is made with what cmake/packaging/licences.txt does not know: {', '.join(sorted(unknown))}")
    return rows


def text_of(target, rows, included):
    name = Path(target).name
    lines = [f"What {name} is made of besides the code of lumo-flash, which is under the MIT licence:", ""]
    lines += [f"  {component + ':':28}{licence}" for component, licence in sorted(rows)]
    if any(licence.startswith("GPL-2.0-only") and "WITH" not in licence for _, licence in rows):
        lines += ["", f"{name} as a whole may therefore be passed on under the GNU General Public License, version 2, only."]
    for (component, licence), packages in sorted(rows.items()):
        if licence.startswith(SYSTEM):
            continue
        for package in sorted(packages & included.keys()):
            copyright_file = Path(f"/usr/share/doc/{package}/copyright")
            lines += ["", f"== {component}, compiled in", "", copyright_file.read_text().rstrip()]
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("target")
    parser.add_argument("--out")
    parser.add_argument("--without", action="append", default=[])
    arguments = parser.parse_args()
    linked = packages_of(linked_files(arguments.build, arguments.target))
    included = packages_of(included_files(arguments.build, arguments.target))
    rows = notice(arguments.target, linked, included)
    refused = [f"{component} ({licence})" for component, licence in rows
               if licence.startswith(tuple(arguments.without)) and "WITH" not in licence]
    if arguments.without and refused:
        sys.exit(f"{arguments.target} is made with {', '.join(refused)}")
    text = text_of(arguments.target, rows, included)
    if arguments.out:
        Path(arguments.out).write_text(text)
    else:
        print(text, end="")


main()
