"""Completion in the shells themselves: each is started, a line is typed, and what it offers is read."""
import fcntl
import os
import pty
import select
import struct
import subprocess
import tempfile
import termios
import unittest
from pathlib import Path

PROGRAM = Path(os.environ["LUMOFLASH"])
SCRIPTS = Path(os.environ["FLASH_SOURCE"]) / "apps/lumoflash/completion"
READY, DONE = b"<ready>", b"<done>"


class Terminal:
    """A shell that inserts all that it offers when it gets Ctrl-X and an asterisk, and shows a line's words by `show`."""

    def __init__(self, command, set_up, folder):
        environment = {"PATH": f"{PROGRAM.parent}:/usr/bin:/bin", "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8"}
        child, self.terminal = pty.fork()
        if child == 0:
            os.chdir(folder)
            os.execve(command[0], command, environment)
        self.child, self.seen = child, b""
        # So wide that no line is broken or drawn again.
        fcntl.ioctl(self.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 2000, 0, 0))
        # Quotes inside, so that the echo of what is typed is not taken for the answer.
        show = "show() { printf '<%s>' \"$@\"; echo '<do''ne>'; }"
        (Path(folder) / ".set-up").write_text(f"{set_up}\n{show}\nPS1='<ready>'\n")
        self.type("source ./.set-up\n")
        self.read_until(READY)

    def type(self, text):
        os.write(self.terminal, text.encode())

    def read_until(self, end):
        while end not in self.seen:
            readable, _, _ = select.select([self.terminal], [], [], 120)
            if not readable:
                raise AssertionError(f"the shell says no more after {self.seen!r}")
            self.seen += os.read(self.terminal, 65536)
        before, _, self.seen = self.seen.partition(end)
        return before

    def offered(self, line):
        self.type(line + "\x18*\x01show \n")
        shown = self.read_until(DONE)
        self.read_until(READY)
        before = len(line.split()) - (0 if line.endswith(" ") else 1)
        words = shown[shown.rindex(b"<lumoflash>"):].decode().replace("\r\n", "").strip("<>").split("><")
        return {word.rstrip("/") for word in words[before:]} - {""}

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.child, 0)


class Fish:
    def __init__(self, folder):
        self.folder = folder

    def offered(self, line):
        environment = {"PATH": f"{PROGRAM.parent}:/usr/bin:/bin", "HOME": self.folder, "LC_ALL": "C.UTF-8"}
        out = subprocess.run(["/usr/bin/fish", "--no-config", "-c", f"source {SCRIPTS}/lumoflash.fish; complete -C '{line}'"],
                             cwd=self.folder, env=environment, check=True, capture_output=True, text=True).stdout
        return {line.split("\t")[0].rstrip("/") for line in out.splitlines()}

    def close(self):
        pass


def bash(folder):
    return Terminal(["/usr/bin/bash", "--norc", "--noprofile", "-i"],
                    f"source /usr/share/bash-completion/bash_completion; source {SCRIPTS}/lumoflash.bash; "
                    "bind '\"\\C-x*\": insert-completions'; bind 'set enable-bracketed-paste off'; set +H", folder)


def zsh(folder):
    return Terminal(["/usr/bin/zsh", "-f", "-i"],
                    f"fpath=({SCRIPTS} $fpath); autoload -Uz compinit; compinit -u -D; unsetopt zle_bracketed_paste prompt_sp; "
                    "unset zle_bracketed_paste; zle -C everything complete-word _generic; "
                    "zstyle ':completion:everything::::' completer _all_matches _complete; "
                    "zstyle ':completion:everything:*' insert true; bindkey -e; bindkey '^X*' everything", folder)


# What is typed; what must be offered; what must not.
CASES = [
    ("lumoflash pro", {"program"}, {"read"}),
    ("lumoflash mac w", {"write"}, {"read"}),
    ("lumoflash program --verb", {"--verbose"}, {"--verify"}),
    ("lumoflash program --ke", {"--keep-ccfg"}, {"--json"}),
    ("lumoflash program --verify ", {"crc", "readback", "none"}, {"app.elf"}),
    ("lumoflash --device LumoF", {"LumoF2F352", "LumoF4F352"}, {"LumoD1F128"}),
    ("lumoflash program ", {"app.elf", "app.hex", "folder"}, {"notes.txt"}),
    ("lumoflash program f", {"folder"}, {"app.elf"}),
    ("lumoflash --config ", {"lumoflash.toml"}, {"notes.txt", "app.elf"}),
    ("lumoflash --device LumoF2F352 erase --sectors ", {"0-43"}, {"app.elf", "folder"}),
    ("lumoflash --probe virtual:ch", {"virtual:chip.bin"}, {"notes.txt"}),
    ("lumoflash mac read pri", {"pri-ble", "pri-ieee"}, {"sec-ble"}),
]


class Completion(unittest.TestCase):
    def check(self, start):
        with tempfile.TemporaryDirectory() as folder:
            for name in "app.elf", "app.hex", "notes.txt", "lumoflash.toml", "chip.bin":
                (Path(folder) / name).touch()
            (Path(folder) / "folder").mkdir()
            shell = start(folder)
            self.addCleanup(shell.close)
            for line, expected, unwanted in CASES:
                with self.subTest(line=line):
                    offered = shell.offered(line)
                    self.assertEqual((expected - offered, unwanted & offered), (set(), set()), f"offered: {sorted(offered)}")

    def test_bash(self):
        self.check(bash)

    def test_zsh(self):
        self.check(zsh)

    def test_fish(self):
        self.check(Fish)


unittest.main()
