# What the tests reached of a file, from the JSON of `llvm-cov export`: lines, and both sides of every condition. A template
# is counted once, with what all its instances reached together.
from dataclasses import dataclass


@dataclass(frozen=True, order=True)
class Condition:
    """Where its text stands: lines and columns from 1, the end behind the last character."""
    line: int
    column: int
    end_line: int
    end_column: int


class Reached:
    def __init__(self):
        self.lines = {}  # number -> how often it ran
        self.conditions = {}  # Condition -> how often it was [true, false]

    def add(self, entry):
        """One of the export's files."""
        for line, count in read_lines(entry["segments"]).items():
            self.lines[line] = self.lines.get(line, 0) + count
        for line, column, end_line, end_column, true_count, false_count, *_ in entry["branches"]:
            counts = self.conditions.setdefault(Condition(line, column, end_line, end_column), [0, 0])
            counts[0] += true_count
            counts[1] += false_count

    def unreached_lines(self):
        return [line for line, count in sorted(self.lines.items()) if count == 0]

    def unreached_sides(self):
        """Pairs of a condition and the answer that it never gave."""
        return [(condition, answer) for condition, counts in sorted(self.conditions.items())
                for answer, count in zip((True, False), counts) if count == 0]


@dataclass
class Segment:
    """From here to the next one the text ran `count` times, if it is code at all."""
    line: int
    column: int
    count: int
    has_count: bool
    is_entry: bool  # of a region, not the return to the one around
    is_gap: bool  # between two statements


def read_lines(segments):
    """As the tool's own text report counts: the most that any part of the line ran."""
    segments = [Segment(*s) for s in segments]
    lines, around, position = {}, None, 0
    for number in range(segments[0].line, segments[-1].line + 1) if segments else ():
        here = []
        while position < len(segments) and segments[position].line == number:
            here.append(segments[position])
            position += 1
        count = count_of_line(here, around)
        if count is not None:
            lines[number] = count
        if here:
            around = here[-1]
    return lines


def count_of_line(here, around):
    """`around`: the last segment before the line. None for a line without code."""
    starts = [s for s in here if s.has_count and s.is_entry and not s.is_gap]
    is_skipped = bool(here) and not here[0].has_count and here[0].is_entry
    if is_skipped or not (starts or around and around.has_count):
        return None
    return max([s.count for s in starts] + ([around.count] if around and around.has_count else []))
