"""Too little address space for a virtual chip: a clear text and a result, whatever the limit is. For the program as it is
released; a sanitizer takes more address space than any of these limits leaves."""
import json
import resource
import unittest

from lumoflash import Case, pattern

MEBIBYTE = 1 << 20


class AddressSpace(Case):
    def limited(self, mebibytes, *arguments, code):
        limit = mebibytes * MEBIBYTE
        return self.run_chip(*arguments, code=code,
                             preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))

    def test_too_little_is_told_and_enough_is_enough(self):
        program = ["program", f"{self.file('a.bin', pattern(9000))}@0"]
        for mebibytes in (64, 100, 200, 400, 800, 1000, 1080):
            with self.subTest(mebibytes=mebibytes):
                out, err = self.limited(mebibytes, "--json", *program, code=4)
                self.assertRegex(err, r"^error: Cannot power up a virtual chip: The emulated core cannot be set up: it needs "
                                      r"\d+ MiB of address space, more than this process may have\n$")
                result = json.loads(out.splitlines()[-1])
                self.assertEqual((result["event"], result["exitCode"]), ("result", 4))
                self.assertIn("MiB of address space", result["text"])
                self.assertFalse(self.chip.exists())
        for mebibytes in (1300, 1600, 2000):
            with self.subTest(mebibytes=mebibytes):
                self.limited(mebibytes, *program, code=0)


if __name__ == "__main__":
    unittest.main()
