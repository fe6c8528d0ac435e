# Builds a test program once from a copy of the tree, then again and again with one changed file: only what includes
# that file is compiled. Nothing is ever written to the working tree.
import concurrent.futures
import os
import re
import resource
import shutil
import signal
import subprocess
import tomllib
from dataclasses import dataclass, field
from pathlib import Path

from mutation.source import Unusable

ASSERTION, CRASH, TIME_LIMIT, SANITIZER = "assertion", "crash", "time limit", "sanitizer"
SURVIVED, NOT_BUILT = "survived", "not built"
KILLED = (ASSERTION, CRASH, TIME_LIMIT, SANITIZER)

# No optimisation, and every byte that nobody wrote holds a pattern, so that no mutant survives by a lucky zero.
COMMON_FLAGS = ["-O0", "-ftrivial-auto-var-init=pattern", "-fstack-protector-strong", "-D_GLIBCXX_ASSERTIONS",
                "-Werror=return-type"]
SANITIZERS = ["-fsanitize=address,undefined", "-fno-sanitize-recover=all"]
LANGUAGES = {".c": ["gcc", "-std=c11"], ".cpp": ["g++", "-std=c++20"], ".cc": ["g++", "-std=c++20"]}
LINKER = "lld" if shutil.which("ld.lld") else "gold"  # the first is quicker, the second always there
RUN_ENVIRONMENT = {"GTEST_FAIL_FAST": "1", "GTEST_BRIEF": "1", "MALLOC_PERTURB_": "165"}
MEMORY_LIMIT = 4 << 30
LEAST_SECONDS = 1  # of processor time for one run, however quick the unchanged program is
TIMES_SLOWER = 10  # than the unchanged program; the wall clock gets as much again, other work may hold the processor


@dataclass
class Program:
    """One test program, as the project's list describes it."""
    name: str
    change: list  # patterns of the files that are changed, and linked
    tests: list
    leave: list = field(default_factory=list)  # patterns of files that are neither changed nor linked
    also: list = field(default_factory=list)  # linked too, and not changed: absolute paths are no part of the tree
    flags: list = field(default_factory=list)
    prelude: list = field(default_factory=list)  # headers that are compiled once, for speed
    slow_tests: list = field(default_factory=list)  # judge only what the others, without sanitizers, let live
    module: str = ""  # name under which the program, in its folder, loads the changed files as a shared object

    def changed_files(self, root):
        left = set(expand(root, self.leave))
        return [p for p in expand(root, self.change) if p not in left]

    def sources(self, root, with_slow_tests):
        slow = expand(root, self.slow_tests)
        left = set(expand(root, self.leave)) | (set() if with_slow_tests else set(slow))
        return [p for p in expand(root, self.change + self.tests + self.also) + slow
                if Path(p).suffix in LANGUAGES and p not in left]


def expand(root, patterns):
    """Files by pattern, relative to the root, each once."""
    found = {}
    for pattern in patterns:
        matches = [pattern] if os.path.isabs(pattern) else sorted(
            str(p.relative_to(root)) for p in root.glob(pattern) if p.is_file())
        if not matches:
            raise Unusable(f"Nothing matches {pattern}")
        found.update(dict.fromkeys(matches))
    return list(found)


def read_programs(path):
    with open(path, "rb") as file:
        return [Program(**entry) for entry in tomllib.load(file)["program"]]


@dataclass
class Verdict:
    outcome: str
    by: str = ""  # the first test that failed


class Workshop:
    def __init__(self, program, root, folder, jobs, is_sanitized=False):
        self.program = program
        self.tree = folder / "tree"
        self.folder = folder / re.sub(r"\W", "_", program.name + is_sanitized * "-sanitized")
        self.jobs = jobs
        self.is_sanitized = is_sanitized
        self.flags = COMMON_FLAGS + is_sanitized * SANITIZERS
        self.objects = {}  # source -> object file
        self.needs = {}  # source -> files of the tree that it includes, itself among them
        self.seconds = 0.0
        self.folder.mkdir(parents=True)
        self.sources = list(dict.fromkeys(program.sources(root, with_slow_tests=is_sanitized)))
        self.changed = set(program.changed_files(root))

    # ---- The unchanged program

    def build(self):
        self.compile_prelude()
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            list(pool.map(self.compile_unchanged, self.sources))
        error = self.link(self.objects, self.folder)
        if error:
            raise Unusable(f"{self.program.name}: the unchanged program does not link\n{error}")
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        verdict = self.run(self.folder, 600)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        if verdict.outcome != SURVIVED:
            raise Unusable(f"{self.program.name}: the unchanged program fails by {verdict.outcome} {verdict.by}")

    def compile_prelude(self):
        header = self.folder / "prelude.h"
        header.write_text("".join(f"#include {name}\n" for name in self.program.prelude))
        if self.program.prelude:
            subprocess.run([*LANGUAGES[".cpp"], *self.flags, *self.program.flags, "-x", "c++-header", header,
                            "-o", f"{header}.gch"], check=True, cwd=self.tree)

    def compile_unchanged(self, source):
        name = self.folder / re.sub(r"\W", "_", source.removeprefix("/usr/src/"))
        self.objects[source] = name.with_suffix(".o")
        error = self.compile(source, self.objects[source], None, name.with_suffix(".d"))
        if error:
            raise Unusable(f"{source} does not build:\n{error}")
        needed = name.with_suffix(".d").read_text().replace("\\\n", " ").partition(":")[2].split()
        self.needs[source] = {os.path.normpath(p) for p in needed}

    # ---- One changed file

    def judge(self, change, text, worker):
        """What the tests say to the change. `worker` is a folder that nobody else uses at the time."""
        changed = worker / "tree" / change.path
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(change.apply(text))
        try:
            return self.build_and_run(change.path, worker)
        finally:
            changed.unlink()

    def build_and_run(self, path, worker):
        objects = dict(self.objects)
        for number, source in enumerate(s for s in self.sources if path in self.needs[s]):
            objects[source] = worker / f"{number}.o"
            if self.compile(source, objects[source], worker / "tree"):
                return Verdict(NOT_BUILT)
        if self.link(objects, worker):
            return Verdict(NOT_BUILT)
        return self.run(worker, max(LEAST_SECONDS, self.seconds * TIMES_SLOWER))

    def compile(self, source, output, changed_tree, dependencies=None):
        """The compiler's complaints when it fails, else nothing. The changed tree hides the files of the copy."""
        suffix = Path(source).suffix
        command = [*LANGUAGES[suffix], *self.flags]
        is_cached = dependencies and shutil.which("ccache")  # the unchanged files, from run to run
        if is_cached:
            command.insert(0, "ccache")
        elif self.program.prelude and suffix != ".c":
            command += ["-include", self.folder / "prelude.h"]
        if changed_tree:
            command += ["-I", changed_tree]
        if self.program.module and source in self.changed:
            command += ["-fPIC", "-fvisibility=hidden"]
        command += ["-I", "."] + self.program.flags + (["-MMD", "-MF", dependencies] if dependencies else [])
        if changed_tree and (changed_tree / source).exists():
            source = changed_tree / source
        result = subprocess.run([*command, "-c", source, "-o", output], cwd=self.tree, capture_output=True, text=True)
        return result.stderr if result.returncode else ""

    def link(self, objects, folder):
        """The linker's complaints when it fails, else nothing."""
        links = [[*objects.values(), "-lpthread", "-o", folder / "program"]]
        if self.program.module:
            links.append(["-shared", *(objects[s] for s in self.sources if s in self.changed), "-o",
                          folder / self.program.module])
        for arguments in links:
            result = subprocess.run(["g++", f"-fuse-ld={LINKER}", *self.flags, *arguments], capture_output=True,
                                    text=True)
            if result.returncode:
                return result.stderr
        return ""

    def run(self, folder, seconds):
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds + 1), int(seconds + 2)))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if not self.is_sanitized:  # which maps far more than it uses
                resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))

        process = subprocess.Popen([folder / "program"], cwd=folder, env=dict(os.environ, **RUN_ENVIRONMENT),
                                   preexec_fn=limit, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            output = process.communicate(timeout=10 * seconds + 10)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return Verdict(TIME_LIMIT)
        failed = re.search(r"\[  FAILED  \] ([\w./]+)", output)
        return Verdict(outcome_of(process.returncode, output), failed.group(1) if failed else "")


def outcome_of(code, output):
    if code == 0:
        return SURVIVED
    if re.search(r"^SUMMARY: \w+Sanitizer|: runtime error: ", output, re.MULTILINE):
        return SANITIZER
    if code in (-signal.SIGXCPU, -signal.SIGKILL):
        return TIME_LIMIT
    return CRASH if code < 0 else ASSERTION


def copy_tree(root, programs, folder):
    """The top folders that the programs name."""
    named = [p for program in programs
             for p in program.change + program.tests + program.slow_tests + program.also if not os.path.isabs(p)]
    tops = {Path(p).parts[0] for p in named}
    for top in sorted(tops):
        shutil.copytree(root / top, folder / "tree" / top, ignore=shutil.ignore_patterns("build"))
