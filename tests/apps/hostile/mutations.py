"""Damage to files, from one generator of random numbers: the same seed gives the same files on every machine."""

BIGGEST = 900_000  # bytes of a file, so that memory can be compared with a file below 1 MB
NUMBERS = [0, 1, 2, 0x7F, 0x80, 0xFF, 0xFFFF, 0x8000_0000, 0x7FFF_FFFF, 0xFFFF_FFFF]
WORDS = [b"\n", b"\r\n", b"\x00", b"\x1a", b"\xef\xbb\xbf", b":", b"S", b"[", b"]", b"{", b"}", b"=", b".", b'"', b'"""', b"'''", b"<", b">",
         b"&", b"<!--", b"<![CDATA[", b"-", b"9" * 30, b"0x", b"\xff\xfe", b"\xc2\x9b"]


class Mutator:
    def __init__(self, random, samples):
        self.random = random
        self.samples = samples

    def damaged(self):
        content = bytearray(self.random.choice(self.samples))
        for _ in range(self.random.choice((1, 1, 1, 2, 3, 8))):
            content = self.random.choice((self.flip, self.number, self.word, self.cut, self.repeat, self.swell, self.splice, self.end))(content)
        return bytes(content[:BIGGEST])

    def place(self, content):
        # The beginning holds the headers.
        bound = self.random.choice((16, 64, 512, len(content)))
        return self.random.randrange(min(bound, len(content)) + 1)

    def span(self, content):
        start = self.place(content)
        return start, start + self.random.choice((1, 2, 4, 16, 100, 4000))

    def flip(self, content):
        at = self.place(content)
        if at < len(content):
            content[at] ^= 1 << self.random.randrange(8)
        return content

    def number(self, content):
        at, size = self.place(content) & ~3, self.random.choice((1, 2, 4))
        value = self.random.choice(NUMBERS) & (1 << 8 * size) - 1
        content[at:at + size] = value.to_bytes(size, "little")
        return content

    def word(self, content):
        at = self.place(content)
        content[at:at] = self.random.choice(WORDS)
        return content

    def cut(self, content):
        start, end = self.span(content)
        del content[start:end]
        return content

    def repeat(self, content):
        start, end = self.span(content)
        content[start:start] = content[start:end] * self.random.choice((1, 3, 50))
        return content

    def swell(self, content):
        """One piece so often that the file is as large as it may be."""
        start, end = self.span(content)
        piece = content[start:end] or b"a"
        content[start:start] = piece * ((BIGGEST - min(BIGGEST, len(content))) // len(piece))
        return content

    def splice(self, content):
        other = self.random.choice(self.samples)
        return content[:self.place(content)] + bytearray(other[self.place(other):])

    def end(self, content):
        return content[:self.place(content)]
