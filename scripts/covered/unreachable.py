# The list of what no test can reach. Entries stand between empty lines; a line that begins with "#" is a comment:
#
#   PATH FUNCTION
#   never true: CONDITION            (or "never false"; as it is written, one for each)
#   | LINE                           (lines that never run, as they follow each other)
#   why nobody can reach it, on one line or more
#
# Text is compared without white space around it. Lines of nothing but brackets need not run.
from dataclasses import dataclass, field

from mutation.source import Unusable

NEVER = {"never true: ": True, "never false: ": False}


@dataclass
class Entry:
    number: int  # of its first line in the list
    path: str
    function: str
    sides: list = field(default_factory=list)  # (text of a condition, answer that it never gives)
    block: list = field(default_factory=list)  # lines of code
    reason: str = ""


def read_entries(path):
    entries = []
    paragraph, start = [], 0
    for number, line in enumerate([*path.read_text().splitlines(), ""], 1):
        if line.startswith("#"):
            continue
        if line.strip():
            start = start if paragraph else number
            paragraph.append(line)
        elif paragraph:
            entries.append(read_entry(path, start, paragraph))
            paragraph = []
    return entries


def read_entry(path, number, paragraph):
    place, _, function = paragraph[0].partition(" ")
    entry = Entry(number, place, function.strip())
    for line in paragraph[1:]:
        side = next((s for s in NEVER if line.startswith(s)), None)
        if side:
            entry.sides.append((line[len(side):].strip(), NEVER[side]))
        elif line.startswith("|"):
            entry.block.append(line[1:].strip())
        else:
            entry.reason += line
    if not (entry.sides or entry.block) or not entry.reason:
        raise Unusable(f"{path}:{number}: an entry names a place, what is never reached there, and why")
    return entry


def find_block(entry, source):
    """The numbers of the lines of the source that the entry quotes; none when they do not stand there exactly once."""
    if not entry.block or entry.path != source.path:
        return []
    lines = [line.strip() for line in source.text.splitlines()]
    size = len(entry.block)
    starts = [i for i in range(len(lines) - size + 1)
              if lines[i:i + size] == entry.block and source.function_of_line(i + 1) == entry.function]
    return list(range(starts[0] + 1, starts[0] + 1 + size)) if len(starts) == 1 else []
