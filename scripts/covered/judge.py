# What the tests reached, against the list of what they cannot reach.
import re
from dataclasses import dataclass

from covered.unreachable import find_block
from mutation.source import Source

CODE = ("word", "number", "text", "character")


@dataclass
class Verdict:
    figures: tuple  # lines reached, lines, answers of conditions reached, all of them, entries of the list
    complaints: list  # ":LINE: what"
    fitting: list  # entries that name only what is not reached


class File:
    """A source, and where its code stands."""

    def __init__(self, path, text):
        self.source = Source(path, text)
        self.lines = text.splitlines()
        self.code = set()  # lines with more than brackets
        self.bodies = {}  # function -> lines of code in its body
        for token in self.source.tokens:
            if token.kind in CODE:
                number = self.source.line_number(token.start)
                self.code.add(number)
                if token.block == "function" and token.function:
                    self.bodies.setdefault(token.function, set()).add(number)

    def function_of(self, number):
        return self.source.function_of_line(number)

    def text_of(self, condition):
        part = self.lines[condition.line - 1:condition.end_line]
        part[-1] = part[-1][:condition.end_column - 1]
        part[0] = part[0][condition.column - 1:]
        return re.sub(r"\s+", " ", " ".join(part)).strip()


def judge_file(path, text, reached, entries):
    file = File(path, text)
    if reached is None:
        return Verdict((0, 0, 0, 0, 0), [f":{min(b)}: {f} is not measured" for f, b in file.bodies.items()], [])
    lines = {n: c for n, c in reached.lines.items() if n in file.code}
    missing_lines = {n for n in reached.unreached_lines() if n in file.code}
    # Of a condition that never ran its line tells already.
    missing_sides = [(c, a) for c, a in reached.unreached_sides() if c.line not in missing_lines]
    sides = 2 * len(reached.conditions)
    figures_missing = len(missing_lines), len(reached.unreached_sides())
    fitting = [e for e in entries if e.path == path and take(e, file, missing_lines, missing_sides)]
    complaints = [(n, f"{file.function_of(n)} never runs: {file.lines[n - 1].strip()}") for n in missing_lines]
    complaints += [(c.line, f"{file.function_of(c.line)} never {str(a).lower()}: {file.text_of(c)}")
                   for c, a in missing_sides]
    complaints += [(min(b), f"{f} is not measured") for f, b in file.bodies.items() if not b & set(lines)]
    return Verdict((len(lines) - figures_missing[0], len(lines), sides - figures_missing[1], sides, len(fitting)),
                   [f":{number}: {text}" for number, text in sorted(complaints)], fitting)


def take(entry, file, missing_lines, missing_sides):
    """Whether all that the entry names is missing; that is then taken off."""
    block = find_block(entry, file.source)
    numbers = {n for n in block if n in file.code}
    sides = [find_side(text, answer, entry.function, file, missing_sides) for text, answer in entry.sides]
    if None in sides or (entry.block and not numbers) or not numbers <= missing_lines:
        return False
    missing_lines -= numbers
    for side in sides:
        missing_sides.remove(side)
    return True


def find_side(text, answer, function, file, missing_sides):
    return next(((c, a) for c, a in missing_sides
                 if a == answer and file.text_of(c) == text and file.function_of(c.line) == function), None)


def judge_list(name, entries, fitting):
    """Complaints about entries that name what is not there, or what is reached."""
    return [f"{name}:{e.number}: not there any more, or reached: {e.path} {e.function}"
            for e in entries if not any(e is f for f in fitting)]
