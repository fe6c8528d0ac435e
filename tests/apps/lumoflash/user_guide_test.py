"""The commands of the user guide, in their order, with their exit codes."""
import os
import re
import shlex
import shutil
import subprocess
import unittest

from lumoflash import EXAMPLES, PROGRAM, SOURCE, Case

BLOCK = re.compile(r"^```(\w+)(?: (\S+))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)
EXIT_CODE = re.compile(r"# exits with (\d+)")


def without_times(text):
    return re.sub(r"[\d.]+ (ms|s|KiB/s)\b", r"\1", text)


class UserGuide(Case):
    page, least_commands = "docs/user-guide.md", 40

    """A block of `sh` is run line by line, one of `toml` with a file's name becomes that file. A comment on a line of its own is
    the last line of the command before on standard error, but for times, which are not promised."""

    def test_every_command_ends_as_the_guide_says(self):
        shutil.copy(EXAMPLES / "lumof-example.elf", self.path / "app.elf")
        self.folder_now = self.path
        self.environment = {**os.environ, "PATH": f"{os.path.dirname(PROGRAM)}:{os.environ['PATH']}"}
        commands = 0
        for language, name, text in BLOCK.findall((SOURCE / self.page).read_text()):
            if name:
                self.file(name, text)
            for line in text.splitlines() if language == "sh" else []:
                with self.subTest(line=line):
                    commands += self.run_line(line)
        self.assertGreater(commands, self.least_commands)

    def run_line(self, line):
        """What stays from line to line is done here, the rest by the shell. Returns 1 for a command."""
        if line.startswith("# "):
            self.assertEqual(without_times(self.last_line), without_times(line[2:]))
            return 0
        words = shlex.split(line, comments=True)
        if words[0] == "cd":
            self.folder_now = (self.folder_now / words[1]).resolve()
        elif words[0] == "export":
            self.environment.update([words[1].split("=", 1)])
        elif words[0] == "unset":
            self.environment = {key: value for key, value in self.environment.items() if key not in words[1:]}
        else:
            code = EXIT_CODE.search(line)
            result = subprocess.run(["bash", "-o", "pipefail", "-c", line], cwd=self.folder_now, env=self.environment, timeout=120,
                                    stdin=subprocess.DEVNULL, capture_output=True)
            self.assertEqual(result.returncode, int(code[1]) if code else 0, result.stderr.decode())
            self.last_line = result.stderr.decode().strip().split("\n")[-1]
        return 1


class LineGuide(UserGuide):
    page, least_commands = "docs/line.md", 8


if __name__ == "__main__":
    unittest.main()
