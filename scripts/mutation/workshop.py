# Judges changes by the tests of a built tree: compiles what needs the changed file, as the tree does, links the programs
# and modules anew and runs their tests. All that is made lies in a folder of its own; neither the sources nor the tree
# are touched.
import os
import re
import resource
import signal
import subprocess
import tomllib
from dataclasses import dataclass, field
from pathlib import Path

from mutation.source import Unusable

ASSERTION, CRASH, TIME_LIMIT, SANITIZER = "assertion", "crash", "time limit", "sanitizer"
SURVIVED, NOT_BUILT = "survived", "not built"
KILLED = (ASSERTION, CRASH, TIME_LIMIT, SANITIZER)

SOURCES = {".c", ".cpp", ".h"}
# Warnings are no reason to refuse a change, but for a function that returns nothing.
LENIENT = ["-g0", "-Wno-error", "-Werror=return-type"]
# A variable that nobody set holds a pattern, so that no change survives by a lucky zero.
PATTERN = ["-ftrivial-auto-var-init=pattern"]
RUN_ENVIRONMENT = {"GTEST_FAIL_FAST": "1", "GTEST_BRIEF": "1", "ASAN_OPTIONS": "hard_rss_limit_mb=4096:quarantine_size_mb=16",
                   "CCACHE_DISABLE": "1"}
LEAST_SECONDS = 1  # of processor time for one run, however quick the unchanged program is
TIMES_SLOWER = 10  # than the unchanged program; the wall clock gets as much again, other work may hold the processor


@dataclass
class Program:
    """Files that are changed, and the tests that judge them, as the project's list describes it."""
    name: str
    change: list  # patterns of the files that are changed
    tests: list  # patterns of CTest's names, the quickest first
    leave: list = field(default_factory=list)  # patterns of files that are not changed
    slow_tests: list = field(default_factory=list)  # judge only what the others let live
    modules: dict = field(default_factory=dict)  # environment variable -> module of the tree that tests load by it
    beside: list = field(default_factory=list)  # folders of the tree that a program looks for beside its own

    def changed_files(self, root):
        left = set(expand(root, self.leave))
        return [p for p in expand(root, self.change) if p not in left and Path(p).suffix in SOURCES]


def expand(root, patterns):
    """Files by pattern, relative to the root, each once."""
    found = {}
    for pattern in patterns:
        matches = sorted(str(p.relative_to(root)) for p in root.glob(pattern) if p.is_file())
        if not matches:
            raise Unusable(f"Nothing matches {pattern}")
        found.update(dict.fromkeys(matches))
    return list(found)


def read_list(path):
    """The programs, and patterns of the files that none of them judges."""
    with open(path, "rb") as file:
        listed = tomllib.load(file)
    return [Program(**entry) for entry in listed["program"]], listed.get("never", [])


@dataclass
class Verdict:
    outcome: str
    by: str = ""  # the first test that failed


@dataclass
class Run:
    """A command that judges: several suites of one program are one."""
    command: list
    environment: dict
    is_slow: bool
    seconds: float = 0.0  # of processor time, that it takes on what is not changed


class Workshop:
    def __init__(self, program, tree, folder):
        self.program, self.tree = program, tree
        self.folder = folder / re.sub(r"\W", "_", program.name)
        self.folder.mkdir(parents=True)
        self.runs = self.collect_runs(program.tests, False) + self.collect_runs(program.slow_tests, True)
        self.binaries = self.collect_binaries()
        self.objects = list(dict.fromkeys(o for b in self.binaries.values() for o in b.objects))

    def collect_runs(self, patterns, is_slow):
        modules = {name: str(self.tree.folder / path) for name, path in self.program.modules.items()}
        suites = {}
        for test in dict.fromkeys(t.name for p in patterns for t in self.tree.select_tests(p)):
            test = next(t for t in self.tree.tests if t.name == test)
            *command, last = test.command
            suite = last.removeprefix("--gtest_filter=") if last.startswith("--gtest_filter=") else None
            key = (*command, "" if suite else last), tuple(sorted({**test.environment, **modules}.items()))
            suites.setdefault(key, []).append(suite)
        return [Run([*command[:-1], f"--gtest_filter={':'.join(names)}" if names[0] else command[-1]], dict(environment),
                    is_slow) for (command, environment), names in suites.items()]

    def binaries_of(self, run):
        return [self.binaries[word] for word in [*run.command, *run.environment.values()] if word in self.binaries]

    def collect_binaries(self):
        """What the commands start or load, by its path."""
        words = {w for run in self.runs for w in [*run.command, *run.environment.values()]}
        return {w: self.tree.binary(os.path.relpath(w, self.tree.folder)) for w in sorted(words) if self.tree.is_binary(w)}

    # ---- What is not changed

    def measure(self, is_slow=False):
        """Runs each command once: it must pass, and shows the time that a change may take."""
        for run in (r for r in self.runs if r.is_slow == is_slow):
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            verdict = self.run(run, self.folder, {}, 600)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            run.seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
            if verdict.outcome != SURVIVED:
                raise Unusable(f"{self.program.name}: the unchanged program fails by {verdict.outcome} {verdict.by}")

    def seconds(self):
        return sum(r.seconds for r in self.runs)

    # ---- One changed file

    def objects_of(self, path):
        found = [o for o in self.objects if path in self.tree.needs.get(o, ())]
        if not found:
            raise Unusable(f"{self.program.name}: no test program is made of {path}")
        return found

    def judge(self, change, text, worker, with_slow_tests):
        """What the tests say to the change. `worker` is a folder that nobody else uses at the time."""
        changed = worker / "sources" / change.path
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(change.apply(text))
        try:
            return self.build_and_run(change.path, worker, with_slow_tests)
        finally:
            changed.unlink()

    def build_and_run(self, path, worker, with_slow_tests):
        new = {}
        for number, old in enumerate(self.objects_of(path)):
            new[old] = str(worker / f"{number}.o")
            if not self.compile(old, new[old], path, worker / "sources"):
                return Verdict(NOT_BUILT)
        moved = {}
        for run in (r for r in self.runs if with_slow_tests or not r.is_slow):
            for binary in self.binaries_of(run):
                old = str(self.tree.folder / binary.path)
                if old not in moved and new.keys() & set(binary.objects):
                    moved[old] = str(worker / "tree" / binary.path)
                    if not self.link(binary, new, worker / "tree"):
                        return Verdict(NOT_BUILT)
            verdict = self.run(run, worker, moved, max(LEAST_SECONDS, run.seconds * TIMES_SLOWER))
            if verdict.outcome != SURVIVED:
                return verdict
        return Verdict(SURVIVED)

    def compile(self, old, new, path, sources):
        source, command = self.tree.commands[old]
        command = [new if word == old else word for word in command]
        if source == path:
            command = without_precompiled_header(command)
            command[command.index("-c") + 1] = sources / path
        pattern = [] if "-include-pch" in command else PATTERN
        return self.succeeds([command[0], f"-I{sources}", *command[1:], *LENIENT, *pattern])

    def link(self, binary, new, tree):
        """What is new and lies in an archive comes first, so that the archive's own is left out."""
        output = tree / binary.path
        output.parent.mkdir(parents=True, exist_ok=True)
        for name in self.program.beside:
            if not (tree / name).exists():
                (tree / name).symlink_to(self.tree.folder / name)
        own = set(binary.command)
        command = [output if word == binary.path else new.get(word, word) for word in binary.command]
        return self.succeeds([command[0], *(new[o] for o in binary.objects if o in new and o not in own), *command[1:]])

    def succeeds(self, command):
        environment = dict(os.environ, **RUN_ENVIRONMENT)
        return subprocess.run(command, cwd=self.tree.folder, env=environment, capture_output=True).returncode == 0

    def run(self, run, folder, moved, seconds):
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds + 1), int(seconds + 2)))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        (folder / "temporary").mkdir(exist_ok=True)
        environment = {name: moved.get(value, value) for name, value in run.environment.items()}
        process = subprocess.Popen([moved.get(word, word) for word in run.command], cwd=folder, env={
            **os.environ, **RUN_ENVIRONMENT, "TMPDIR": str(folder / "temporary"), **environment},
            preexec_fn=limit, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output = process.communicate(timeout=10 * seconds + 10)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return Verdict(TIME_LIMIT)
        failed = re.search(r"\[  FAILED  \] ([\w./]+)|^(?:FAIL|ERROR): (\w+)", output, re.MULTILINE)
        return Verdict(outcome_of(process.returncode, output), next(filter(None, failed.groups())) if failed else "")


def without_precompiled_header(command):
    """As CMake gives it to Clang: `-Xclang -include-pch -Xclang FILE`, then the header itself in the same way. Compiled for
    other values of fresh variables, it would be refused."""
    command = list(command)
    for word in ("-include-pch", "-include"):
        while word in command:
            at = command.index(word)
            del command[at - 1:at + 3]
    return command


def outcome_of(code, output):
    if code == 0:
        return SURVIVED
    if re.search(r"^SUMMARY: \w+Sanitizer|: runtime error: ", output, re.MULTILINE):
        return SANITIZER
    if code in (-signal.SIGXCPU, -signal.SIGKILL):
        return TIME_LIMIT
    return CRASH if code < 0 else ASSERTION
