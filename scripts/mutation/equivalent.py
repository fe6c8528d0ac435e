# The list of changes that no test can tell from the original, each with its reason. An entry names its change by file,
# function and text, so it outlives any shift of lines:
#
#   flashdevice/programming/RequestPieces.cpp PartInRange
#   - if (first <= address && last >= lastByte) {
#   + if (first < address && last >= lastByte) {
#   why the two do the same, in one line or more
#
# Entries are apart by an empty line; a line that begins with # is a comment.
from collections import Counter
from dataclasses import dataclass

from mutation.source import Unusable


@dataclass(frozen=True)
class Entry:
    path: str
    function: str
    before: str
    after: str
    reason: str
    line: int  # in the list

    def key(self):
        return self.path, self.function, self.before, self.after


def read_entries(path):
    if not path.exists():
        return []
    entries, lines = [], []
    for number, line in enumerate(path.read_text().splitlines() + [""], 1):
        if line.startswith("#"):
            continue
        if line.strip():
            lines.append(line.strip())
        elif lines:
            entries.append(parse_entry(path, number - len(lines), lines))
            lines = []
    return entries


def parse_entry(path, number, lines):
    if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+ "):
        raise Unusable(f"{path}:{number}: an entry is file and function, '- before', '+ after', reason")
    file, _, function = lines[0].partition(" ")
    return Entry(file, function, lines[1][2:], lines[2][2:], " ".join(lines[3:]), number)


def match_entries(entries, changes):
    """The changes that are listed, and the entries that match none. One entry covers one change."""
    free = Counter(e.key() for e in entries)
    listed = set()
    for change in changes:
        if free[change.key()] > 0:
            free[change.key()] -= 1
            listed.add(change)
    unmatched = []
    for entry in reversed(entries):
        if free[entry.key()] > 0:
            free[entry.key()] -= 1
            unmatched.append(entry)
    return listed, unmatched[::-1]
