#!/usr/bin/env python3
# Compares the table of images in docs/testing.md with what the build has found: figures_test.py PAGE IMAGE.txt…
# Ends with the rows as they have to be when they differ.
import re
import sys
from pathlib import Path

PATTERN = r"(\S+)\.elf: (\d+) bytes loaded, (\d+) of (\d+) bytes of SRAM, stack at most (\d+) of (\d+) bytes\n"


def number(digits):
    return f"{int(digits):,}".replace(",", " ")


def row(text):
    name, loaded, used, budget, stack, most = re.fullmatch(PATTERN, text).groups()
    return f"| `{name}` | {number(loaded)} | {number(used)} of {number(budget)} | {number(stack)} of {number(most)} |"


def main(page, *files):
    wanted = [row(Path(file).read_text()) for file in files]
    told = [line for line in Path(page).read_text().splitlines() if re.match(r"\| `.*` \| [\d ]+ \| [\d ]+ of ", line)]
    if sorted(wanted) != sorted(told):
        sys.exit(f"{page} does not tell what the build has found:\n" + "\n".join(wanted))


if __name__ == "__main__":
    main(*sys.argv[1:])
