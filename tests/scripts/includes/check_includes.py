"""Compares every #include "…" of the product with the table in docs/design.md that says which folder may include which:
check_includes.py ROOT. What breaks the table is printed, a line each, and fails."""
import os
import re
import sys
from pathlib import Path

SOURCES = {".c", ".cc", ".cpp", ".h", ".hpp"}
NO_PRODUCT = {"tests", "docs", "build"}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]*)"', re.MULTILINE)
NAME = re.compile(r"`([^`]*)`")
HEADING = ["folder", "holds", "may include"]


def read_table(page):
    """Folder -> folders that it may include, in the order of the page."""
    rows = [[cell.strip() for cell in line.strip().strip("|").split("|")]
            for line in page.splitlines() if line.startswith("|")]
    if HEADING not in rows:
        sys.exit(f"docs/design.md has no table with the heading {' | '.join(HEADING)}")
    allowed = {}
    for row in rows[rows.index(HEADING) + 2:]:
        if len(row) != len(HEADING) or not NAME.fullmatch(row[0]):
            sys.exit(f"docs/design.md: a row is a folder in backquotes, what it holds, what it may include: {row}")
        if row[0].strip("`") in allowed:
            sys.exit(f"docs/design.md: two rows for {row[0]}")
        allowed[row[0].strip("`")] = NAME.findall(row[2])
    return allowed


def product_files(root):
    """Every source, by its path from the root."""
    for folder, folders, files in os.walk(root):
        folders[:] = [f for f in folders if not f.startswith(".") and not (
            Path(folder) == root and f in NO_PRODUCT)]
        for name in files:
            if Path(name).suffix in SOURCES:
                yield Path(folder, name).relative_to(root)


def check_table(allowed, used):
    """What is wrong with the table itself."""
    order = list(allowed)
    for folder in sorted(used - set(order)):
        yield f"{folder} has sources, and no row"
    for folder in order:
        if folder not in used:
            yield f"{folder} has a row, and no sources"
        for other in allowed[folder]:
            if other not in allowed:
                yield f"the row of {folder} names {other}, which has no row"
            elif order.index(other) <= order.index(folder):
                yield f"the row of {folder} names {other}, which does not stand below it"


def check_file(root, path, allowed):
    """What the file includes against the table."""
    folder = path.parent.as_posix()
    for text in INCLUDE.findall((root / path).read_text()):
        if "/" not in text and (root / folder / text).is_file():
            continue  # a header that also stands beside its user when it is installed
        other = Path(text).parent.as_posix()
        if not (root / text).is_file():
            yield f'{path.as_posix()} includes "{text}", which is no file, counted from the top folder'
        elif other != folder and other not in allowed.get(folder, []):
            yield f"{path.as_posix()} includes {text}: {folder} may not include {other}"


def main():
    root = Path(sys.argv[1]).resolve()
    allowed = read_table((root / "docs/design.md").read_text())
    files = sorted(product_files(root))
    complaints = list(check_table(allowed, {p.parent.as_posix() for p in files}))
    for path in files:
        complaints += check_file(root, path, allowed)
    print(*complaints, f"{len(files)} files in {len(allowed)} folders, {len(complaints)} complaints", sep="\n")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
