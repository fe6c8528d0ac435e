# A built tree, as Ninja and CTest know it: how each object is compiled and each program linked, which files an object
# needs, and which command is a test.
import json
import os
import re
import shlex
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from mutation.source import Unusable

DEPENDENCY_FLAGS = {"-MD": 1, "-MMD": 1, "-MT": 2, "-MF": 2, "-MQ": 2}


@dataclass
class Binary:
    path: str  # in the tree
    command: list  # that links it
    objects: list = field(default_factory=list)  # its own, and those of the archives that it takes from


@dataclass
class Test:
    name: str
    command: list
    environment: dict


class Tree:
    def __init__(self, root, folder):
        self.root, self.folder = root, folder
        self.commands = {}  # object -> source, command
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            command = without_dependency_flags(shlex.split(entry["command"]))
            self.commands[command[command.index("-o") + 1]] = os.path.relpath(entry["file"], root), command
        self.needs = self.read_needs()  # object -> files of the project, by their path from its root
        self.tests = self.read_tests()
        self.binaries = {}  # path -> Binary, as they are asked for

    def output_of(self, *command):
        run = subprocess.run(command, cwd=self.folder, capture_output=True, text=True)
        if run.returncode:
            raise Unusable(f"{shlex.join(map(str, command))}\n{run.stdout}{run.stderr}")
        return run.stdout

    def read_needs(self):
        needs = {}
        for paragraph in self.output_of("ninja", "-t", "deps").split("\n\n"):
            first, *rest = paragraph.strip().split("\n")
            paths = (os.path.relpath(os.path.join(self.folder, line.strip()), self.root) for line in rest)
            needs[first.partition(": #deps")[0]] = {p for p in paths if not p.startswith("..")}
        return needs

    def read_tests(self):
        listed = json.loads(self.output_of("ctest", "--show-only=json-v1"))["tests"]
        return [Test(t["name"], t["command"], environment_of(t)) for t in listed if "command" in t]

    def select_tests(self, pattern):
        chosen = [t for t in self.tests if re.search(pattern, t.name)]
        if not chosen:
            raise Unusable(f"no test matches {pattern}")
        return chosen

    def binary(self, path):
        if path not in self.binaries:
            command = self.link_command(path)
            objects = []
            for word in command:
                if word.endswith(".o"):
                    objects.append(word)
                elif word.endswith(".a") and not os.path.isabs(word):
                    objects += [w for w in self.link_command(word) if w.endswith(".o")]
            self.binaries[path] = Binary(path, command, list(dict.fromkeys(objects)))
        return self.binaries[path]

    def link_command(self, path):
        """The part of Ninja's command line that names the output."""
        parts = self.output_of("ninja", "-t", "commands", "-s", path).strip().split(" && ")
        return next(words for words in map(shlex.split, parts) if path in words and any(w.endswith(".o") for w in words))

    def is_binary(self, path):
        """Whether the path, absolute, is of something that the tree links."""
        if not path.startswith(f"{self.folder}/") or not Path(path).is_file():
            return False
        run = subprocess.run(["ninja", "-t", "query", os.path.relpath(path, self.folder)], cwd=self.folder,
                             capture_output=True, text=True)
        return bool(re.search(r"^  input: \w*(EXECUTABLE|LIBRARY)_LINKER", run.stdout, re.MULTILINE))


def without_dependency_flags(words):
    kept = []
    skipped = 0
    for word in words:
        skipped = max(skipped, DEPENDENCY_FLAGS.get(word, 0))
        if skipped:
            skipped -= 1
        else:
            kept.append(word)
    return kept[1:] if os.path.basename(kept[0]) == "ccache" else kept


def environment_of(test):
    values = [p["value"] for p in test.get("properties", []) if p["name"] == "ENVIRONMENT"]
    return dict(value.split("=", 1) for value in (values[0] if values else []))
