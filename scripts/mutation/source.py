# C and C++ text as tokens, and what the tool must know about each: in which kind of block it stands, in which function,
# and whether it may be changed at all. Knows no grammar; it leans on the form that .clang-format settles.
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<space>\s+)
    |(?P<comment>//[^\n]*|/\*.*?\*/)
    |(?P<directive>(?m:^)[ \t]*\#(?:[^\n\\]|\\.)*)
    |(?P<text>R"(?P<mark>[^(]*)\(.*?\)(?P=mark)"|(?:u8|u|U|L)?"(?:[^"\\\n]|\\.)*")
    |(?P<number>\.?\d(?:'?[0-9A-Za-z_.])*)
    |(?P<character>'(?:[^'\\\n]|\\.)+')
    |(?P<word>[A-Za-z_]\w*)
    |(?P<operator><<=|>>=|<=>|->|\+\+|--|<<|>>|&&|\|\||::|\.\.\.|[-+*/%&|^<>=!]=|[-+*/%&|^~!<>=?:;,.(){}\[\]\\])""",
    re.VERBOSE | re.DOTALL)

FROZEN_CALLS = {"static_assert", "_Static_assert", "__attribute__", "__asm__", "alignas", "__declspec"}
FROZEN_STATEMENTS = {"using", "typedef", "friend"}
CONTROL = {"if", "for", "while", "switch", "catch"}
OPENERS = {"(": ")", "[": "]", "{": "}"}


class Unusable(Exception):
    """The project, as it is, cannot be changed and judged. The text says why."""


@dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int
    block: str = ""  # the innermost block: namespace, class, enum, function or init
    function: str = ""
    partner: int = -1  # index of the bracket that closes or opens this one
    frozen: bool = False


@dataclass
class Statement:
    first: int  # indexes of tokens; `last` is the semicolon
    last: int


@dataclass
class Block:
    opener: int
    kind: str  # as in Token, or "paren" for round and square brackets
    function: str
    outer_start: int  # where the statement around the block began
    is_lambda: bool


class Source:
    """A file's tokens without white space, comments and directives, and its statements."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.statements = []
        self.tokens = [t for t in scan(path, text) if t.kind not in ("space", "comment", "directive")]
        match_brackets(path, self.tokens)
        BlockFinder(self).run()
        freeze_declarations(self.tokens)

    def stands_free(self, token):
        """Whether white space is on both sides, as around every binary operator and never within a declarator."""
        before, after = self.text[token.start - 1], self.text[token.end]
        return before.isspace() and after.isspace()

    def line_number(self, offset):
        return self.text.count("\n", 0, offset) + 1

    def function_of_line(self, number):
        """Of the line's first token."""
        return next((t.function for t in self.tokens if self.line_number(t.start) == number), "")

    def freeze_lines(self, numbers):
        for token in self.tokens:
            if self.line_number(token.start) in numbers:
                token.frozen = True

    def lines_around(self, start, end):
        """The whole lines that hold the span: offsets of their begin and end."""
        line_end = self.text.find("\n", end)
        return self.text.rfind("\n", 0, start) + 1, len(self.text) if line_end < 0 else line_end


def scan(path, text):
    position = 0
    while position < len(text):
        match = TOKEN.match(text, position)
        if match is None:
            raise Unusable(f"{path}: cannot read {text[position:position + 20]!r}")
        yield Token(match.lastgroup, match.group(), *match.span())
        position = match.end()


def match_brackets(path, tokens):
    stack = []
    for i, token in enumerate(tokens):
        if token.kind != "operator":
            continue
        if token.text in OPENERS:
            stack.append(i)
        elif token.text in OPENERS.values():
            if not stack or OPENERS[tokens[stack[-1]].text] != token.text:
                raise Unusable(f"{path}: brackets do not match at offset {token.start}")
            token.partner = stack.pop()
            tokens[token.partner].partner = i


class BlockFinder:
    """One pass over the tokens that tells blocks from initialisers and notes statements."""

    def __init__(self, source):
        self.source = source
        self.tokens = source.tokens
        self.stack = [Block(-1, "namespace", "", 0, False)]
        self.start = 0  # of the current statement

    def run(self):
        for i, token in enumerate(self.tokens):
            closes = token.text in (")", "]", "}") and token.kind == "operator"
            if closes:
                self.close(i)
            token.block = next(b.kind for b in reversed(self.stack) if b.kind != "paren")
            token.function = self.stack[-1].function
            if token.kind == "operator" and token.text in OPENERS:
                self.open(i)
            elif token.text == ";" and self.stack[-1].kind != "paren":
                self.end_statement(i)
            elif self.ends_label(i) or token.text in ("else", "do", "try"):
                self.start = i + 1

    def head(self, i):
        return [t.text for t in self.tokens[self.start:i]]

    def ends_label(self, i):
        head = self.head(i)[:1]
        return self.tokens[i].text == ":" and head and head[0] in ("case", "default", "public", "protected", "private")

    def open(self, i):
        top = self.stack[-1]
        if self.tokens[i].text != "{":
            self.stack.append(Block(i, "paren", top.function, self.start, False))
            return
        kind, function, is_lambda = self.classify(i)
        self.stack.append(Block(i, kind, function or top.function, self.start, is_lambda))
        if kind != "init":
            self.start = i + 1

    def classify(self, i):
        head = self.head(i)
        before = self.tokens[i - 1].text if i else ""
        enclosing = self.stack[-1].kind
        if "namespace" in head or head[:1] == ["extern"] and self.tokens[i - 1].kind == "text":
            return "namespace", "", False
        if "=" not in head and "(" not in head and enclosing in ("namespace", "class", "function"):
            for kind, words in (("enum", {"enum"}), ("class", {"struct", "class", "union"})):
                if words & set(head):
                    return kind, "", False
        opens_code = before in (")", "else", "do", "try", "const", "noexcept", "override", "final", "mutable", "]")
        if not opens_code and not (enclosing == "function" and before in (";", "{", "}", ":")):
            return "init", "", False
        is_lambda = enclosing in ("paren", "init") or "=" in head or "return" in head
        name = "" if is_lambda or enclosing == "function" else function_name(head)
        return "function", name, is_lambda

    def close(self, i):
        block = self.stack.pop()
        if block.kind == "init" or block.is_lambda:
            self.start = block.outer_start
        elif block.kind != "paren":
            self.start = i + 1
        elif block.opener > 0 and self.tokens[i].text == ")" and self.tokens[block.opener - 1].text in CONTROL:
            self.start = i + 1

    def end_statement(self, i):
        if self.stack[-1].kind == "function" and i > self.start:
            self.source.statements.append(Statement(self.start, i))
        self.start = i + 1


def function_name(head):
    """The name before the first round bracket, its class included."""
    if "(" not in head:
        return ""
    end = first = head.index("(")
    while first > 0 and re.fullmatch(r"\w+|::|~", head[first - 1]):
        first -= 1
        if first > 0 and head[first] != "::" and head[first] != "~" and head[first - 1] not in ("::", "~"):
            break
    return "".join(head[first:end])


def freeze_declarations(tokens):
    for i, token in enumerate(tokens):
        if token.text in FROZEN_CALLS and i + 1 < len(tokens) and tokens[i + 1].partner > 0:
            freeze(tokens, i, tokens[i + 1].partner)
        elif token.text in FROZEN_STATEMENTS or token.text == "template":
            freeze(tokens, i, next(k for k in range(i, len(tokens)) if tokens[k].text in (";", "{", ">")))
        elif token.text == "extern" and tokens[i + 1].kind == "text":
            freeze(tokens, i, i + 1)
        elif token.text == "[" and token.block in ("class", "namespace"):
            freeze(tokens, i, token.partner)  # the size of an array


def freeze(tokens, first, last):
    for token in tokens[first:last + 1]:
        token.frozen = True
