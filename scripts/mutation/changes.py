# Every small change that the tool knows how to make to a file: an operator, a constant, a comparison, a condition or a
# statement at a time.
import re
from dataclasses import dataclass

OTHER_OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"], ">=": [">", "<"],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
    "&": ["|"], "|": ["&"], "^": ["|"], "<<": [">>"], ">>": ["<<"], "&&": ["||"], "||": ["&&"],
    "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "%=": ["/="],
    "&=": ["|="], "|=": ["&="], "^=": ["|="], "<<=": [">>="], ">>=": ["<<="],
}
OTHER_WORDS = {"true": "false", "false": "true"}
OTHER_FUNCTIONS = {"min": "max", "max": "min", "all_of": "any_of", "any_of": "all_of"}
COMPARISONS = {"==", "!=", "<", ">", "<=", ">="}
# Where an operand or a condition without brackets of its own begins or ends.
BOUNDARIES = {";", ",", "=", "return", "?", ":", "&&", "||", "{", "}", "(", ")", "[", "]", "+=", "-=", "|=", "&=", "^="}
NO_STATEMENT = {"if", "for", "while", "switch", "do", "else", "try", "catch", "case", "default", "using", "static",
                "const", "constexpr", "auto", "typedef", "struct", "class", "enum", "union", "extern", "template"}
WHOLE_STATEMENT = {"return", "throw", "delete", "break", "continue"}
DECLARATION = re.compile(r"[\w:]+(<.*>)?\s*[&*]*\s+\w+\s*[=;({\[]|[\w:]+(<.*>)?[&*]+ (volatile )?\w+\s*[=;({\[]",
                         re.DOTALL)
MOST_32_BITS = 0xFFFFFFFF


@dataclass(frozen=True)
class Change:
    path: str
    start: int  # offsets in the file
    end: int
    new: str
    kind: str  # operator, constant, condition, statement or text
    line: int
    function: str
    before: str  # the lines, white space squeezed
    after: str

    def apply(self, text):
        return text[:self.start] + self.new + text[self.end:]

    def key(self):
        return self.path, self.function, self.before, self.after


def find_changes(source):
    """In the order of the file, each once."""
    finder = Finder(source)
    for i, token in enumerate(source.tokens):
        if not token.frozen:
            finder.look_at(i, token)
    for statement in source.statements:
        finder.delete(statement)
    return sorted(finder.found.values(), key=lambda c: (c.start, c.end, c.new))


class Finder:
    def __init__(self, source):
        self.source = source
        self.tokens = source.tokens
        self.found = {}

    def add(self, kind, first, last, new):
        """Replaces the tokens `first` to `last`."""
        start, end = self.tokens[first].start, self.tokens[last].end
        text = self.source.text
        if new == text[start:end] or any(t.frozen for t in self.tokens[first:last + 1]):
            return
        line_start, line_end = self.source.lines_around(start, end)
        before = squeeze(text[line_start:line_end])
        after = squeeze(text[line_start:start] + new + text[end:line_end])
        self.found.setdefault((start, end, new), Change(
            self.source.path, start, end, new, kind, self.source.line_number(start), self.tokens[first].function,
            before, after))

    def look_at(self, i, token):
        if token.kind == "operator":
            self.change_operator(i, token)
        elif token.kind == "word":
            self.change_word(i, token)
        elif token.kind in ("number", "character"):
            self.change_constant(i, token)
        elif token.kind == "text":
            self.change_text(i, token)

    # ---- Operators and words

    def change_operator(self, i, token):
        if token.text in OTHER_OPERATORS and self.source.stands_free(token):
            for other in OTHER_OPERATORS[token.text]:
                self.add("operator", i, i, other)
        elif token.text in ("++", "--"):
            self.add("operator", i, i, {"++": "--", "--": "++"}[token.text])
        elif token.text in ("!", "~", "-") and self.is_unary(i):
            self.add("operator", i, i, "")
        if token.text in ("&&", "||") and self.source.stands_free(token):
            self.fix_operands(i, "true" if token.text == "&&" else "false")
        if token.text == "?":
            self.change_condition(self.boundary_before(i - 1), i - 1)
        if token.text == "(" and i > 0:
            self.change_controlled(i)

    def is_unary(self, i):
        token, before = self.tokens[i], self.tokens[i - 1]
        touches_next = self.tokens[i + 1].start == token.end
        is_operand_before = before.kind in ("number", "character", "text") or before.text in (")", "]", "}") or (
            before.kind == "word" and before.text != "return")
        return touches_next and not is_operand_before and before.text not in ("::", "virtual") and (
            token.block in ("function", "init"))

    def change_word(self, i, token):
        following = [t.text for t in self.tokens[i + 1:i + 3]]
        if token.text in OTHER_WORDS:
            self.add("constant", i, i, OTHER_WORDS[token.text])
        elif token.text in OTHER_FUNCTIONS and following[:1] == ["("] and following != ["(", ")"]:
            self.add("operator", i, i, OTHER_FUNCTIONS[token.text])

    # ---- Conditions

    def change_controlled(self, i):
        keyword, close = self.tokens[i - 1].text, self.tokens[i].partner
        if keyword in ("if", "while"):
            self.change_condition(i + 1, close - 1)
        elif keyword == "for":
            ends = [k for k in self.at_this_level(i + 1, close) if self.tokens[k].text == ";"]
            if len(ends) == 2 and ends[1] > ends[0] + 1:
                self.change_condition(ends[0] + 1, ends[1] - 1)

    def change_condition(self, first, last):
        level = [self.tokens[k] for k in self.at_this_level(first, last + 1)]
        operators = [t.text for t in level if t.kind == "operator"]
        comparisons = [t for t in level if t.text in COMPARISONS and self.source.stands_free(t)]
        # The opposite comparison, or no `!`, is a change of its own.
        has_own_negation = not {"&&", "||"} & set(operators) and (
            len(comparisons) == 1 or operators[:1] == ["!"])
        text = self.source.text[self.tokens[first].start:self.tokens[last].end]
        for new in ("true", "false") if has_own_negation else (f"!({text})", "true", "false"):
            self.add("condition", first, last, new)

    def fix_operands(self, i, value):
        self.add("condition", self.boundary_before(i - 1), i - 1, value)
        self.add("condition", i + 1, self.boundary_after(i + 1), value)

    def boundary_before(self, last):
        k = last
        while True:
            token = self.tokens[k]
            if token.partner >= 0 and token.partner < k:
                k = token.partner
            elif token.text in BOUNDARIES:
                return k + 1
            k -= 1

    def boundary_after(self, first):
        k = first
        while True:
            token = self.tokens[k]
            if token.partner > k:
                k = token.partner
            elif token.text in BOUNDARIES:
                return k - 1
            k += 1

    def at_this_level(self, first, end):
        k = first
        while k < end:
            yield k
            k = self.tokens[k].partner + 1 if self.tokens[k].partner > k else k + 1

    # ---- Constants

    def change_constant(self, i, token):
        if self.is_in_declarator(i):
            return
        for new in other_characters(token.text) if token.kind == "character" else other_numbers(token.text):
            self.add("constant", i, i, new)

    def is_in_declarator(self, i):
        """A template's argument, or the `= 0` of a pure operation."""
        before, after = self.tokens[i - 1], self.tokens[i + 1]
        if after.text == ">" and not self.source.stands_free(after):
            return True
        return before.text == "=" and self.tokens[i - 2].text in (")", "const", "noexcept")

    def change_text(self, i, token):
        new = other_text(token.text)
        if new is not None:
            self.add("text", i, i, new)

    # ---- Statements

    def delete(self, statement):
        first, last = self.tokens[statement.first], self.tokens[statement.last]
        text = self.source.text[first.start:last.end]
        if first.text in NO_STATEMENT or (first.text not in WHOLE_STATEMENT and DECLARATION.match(text)):
            return
        ends_block = self.tokens[statement.last + 1].text == "}"
        if first.text == "break" and ends_block or first.text == "return" and ends_block and self.ends_function(
                statement.last + 1):
            return
        self.add("statement", statement.first, statement.last, ";")

    def ends_function(self, i):
        opener = self.tokens[i].partner
        return self.tokens[opener].block != "function" or self.tokens[opener - 1].text == "]"


def squeeze(text):
    """On one line, without the comment at its end."""
    return " ".join(re.sub(r"\s// [^\"\n]*$", "", text, flags=re.MULTILINE).split())


def other_numbers(text):
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)([uUlL]*)", text)
    if match is None:
        return []
    digits = match.group(1).replace("'", "")
    value = int(digits, 16 if digits[:2] in ("0x", "0X") else 10)
    form = "0x{:X}" if digits[:2] in ("0x", "0X") else "{}"
    return [form.format(v) + match.group(2) for v in (value - 1, value + 1) if 0 <= v <= MOST_32_BITS]


def other_characters(text):
    if len(text) != 3:
        return ["'!'"]  # an escape
    other = chr(ord(text[1]) + 1)
    return [] if other in "'\\" else [f"'{other}'"]


def other_text(text):
    """Another case for the letter nearest to the middle; without letters another digit, or another character."""
    body = text[text.index('"') + 1:-1]
    if text.startswith("R") or not body:
        return '"x"' if not body else None
    fixed = {k for m in re.finditer(r"\\x[0-9a-fA-F]+|\\.|%[-0-9.]*[a-zA-Z%]", body) for k in range(*m.span())}
    free = sorted((k for k in range(len(body)) if k not in fixed), key=lambda k: abs(2 * k - len(body)))
    for other in (lambda c: c.swapcase() if c.isalpha() else c, lambda c: str((int(c) + 1) % 10) if c.isdigit() else c,
                  lambda c: "_"):
        for k in free:
            if other(body[k]) != body[k]:
                return text[:text.index('"') + 1] + body[:k] + other(body[k]) + body[k + 1:] + '"'
    return None
