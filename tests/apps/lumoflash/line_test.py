"""`lumoflash line run`: many chips at once, each by a run of the program in a process of its own."""
import hashlib
import json
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import fcntl
import unittest
from pathlib import Path

import jsonschema

from lumoflash import PROGRAM, SCHEMA, Case, pattern

TWO_SLOTS = [("left", "virtual:chips/{n}.chip"), ("right", "virtual:chips/{n}.chip")]


class LineCase(Case):
    def setUp(self):
        super().setUp()
        self.image = self.path / "app.bin"
        self.image.write_bytes(pattern(5000))

    def job(self, text="", count=4, slots=TWO_SLOTS, program='base = "0"', files='["app.bin"]'):
        lines = [f'device = "{self.device}"', f"files = {files}", f"count = {count}" if count else "", text, "[program]", program]
        for name, probe in slots:
            lines += ["[[slot]]", f'name = "{name}"', f'probe = "{probe}"']
        return self.file("job.toml", "\n".join(lines) + "\n")

    def run_line(self, *arguments, code=0, **options):
        out, err = self.run_raw("line", "run", "job.toml", *arguments, code=code, **options)
        return out.decode().splitlines(), err

    def events_of_line(self, code=0, **options):
        out, _ = self.run_raw("--json", "line", "run", "job.toml", code=code, **options)
        events = [json.loads(line) for line in out.decode().splitlines()]
        for event in events:
            jsonschema.validate(event, SCHEMA)
        self.assertEqual((events[0]["event"], events[-1]["event"], events[-1]["exitCode"]), ("start", "result", code))
        return events

    def start_line(self, *arguments, **options):
        return subprocess.Popen([PROGRAM, *arguments, "line", "run", "job.toml"], cwd=self.path, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **options)


class Line(LineCase):
    def test_each_chip_is_programmed_once_and_told_in_a_line(self):
        self.job()
        lines, err = self.run_line()
        self.assertEqual(err, "4 chips good, 0 bad\n")
        self.assertEqual(len(lines), 4)
        for line in lines:
            self.assertRegex(line, r"^(left|right): chip [1-4] good, .*\d+ (ms|s)$")
        for number in range(1, 5):
            self.chip = self.path / f"chips/{number}.chip"
            self.assertEqual(self.flash(0, 5000), pattern(5000))

    def test_events_for_programs(self):
        self.job(count=2)
        events = self.events_of_line()
        verdicts = [e for e in events if e["event"] == "verdict"]
        self.assertEqual(sorted(e["chip"] for e in verdicts), [1, 2])
        self.assertTrue(all(e["ok"] for e in verdicts))
        self.assertEqual(len({e["run"] for e in verdicts}), 2)
        self.assertTrue(any(e["event"] == "slot" and e["phase"] == "program" and e["doneBytes"] for e in events))
        self.assertIn("2 chips good", events[-1]["text"])

    def test_one_bad_chip_among_good_ones_fails_the_line_and_stops_nobody(self):
        (self.path / "chips").mkdir()
        self.file("chips/2.chip", "no chip")
        self.job()
        lines, err = self.run_line(code=1)
        self.assertEqual(err, "error: 3 chips good, 1 bad\n")
        bad = [line for line in lines if "BAD" in line]
        self.assertEqual(len(bad), 1)
        self.assertRegex(bad[0], r"^(left|right): chip 2 BAD: Cannot power up the virtual chip in .*2\.chip: ")

    def test_a_slot_with_nothing_but_bad_chips_stops_and_the_other_goes_on(self):
        (self.path / "gone.chip").mkdir()
        self.job("bad-in-a-row = 2", count=8, slots=[("left", "virtual:{n}.chip"), ("right", "virtual:gone.chip")])
        lines, err = self.run_line(code=1)
        self.assertEqual(err, "error: 6 chips good, 2 bad\n")
        self.assertTrue(any(line.startswith("right: STOPPED, 2 chips bad in a row, the last one: ") for line in lines), lines)

    def test_what_a_machine_writes_is_done_or_answered(self):
        self.job("start = \"command\"", count=0)
        out, err = self.start_line(stdin=subprocess.PIPE).communicate(b"\nbegin\nstart lift\nend\nstart left\n", timeout=120)
        self.assertEqual(out.decode().splitlines(), [], err)
        self.assertEqual(err.decode().splitlines()[:-1], ['"begin" is none of start, start SLOT and end', "There is no slot lift (did you mean left?)"])

    def test_an_image_that_changes_ends_the_line(self):
        self.job("start = \"command\"", count=0)
        line = self.start_line(stdin=subprocess.PIPE)
        line.stdin.write(b"start left\n")
        line.stdin.flush()
        self.assertIn(b"left: chip 1 good", line.stdout.readline())
        self.image.write_bytes(pattern(5000, seed=2))
        out, err = line.communicate(b"start left\n", timeout=120)
        self.assertEqual((line.returncode, out), (1, b""))
        self.assertIn(b"app.bin: the file has changed while the line runs; start the line anew if that is meant; its SHA-256 is "
                      + hashlib.sha256(pattern(5000, seed=2)).hexdigest().encode(), err)
        self.assertFalse((self.path / "chips/2.chip").exists())

    def test_a_pinned_hash_is_that_of_the_file_or_nothing_begins(self):
        right, wrong = hashlib.sha256(pattern(5000)).hexdigest(), "0" * 64
        self.job(f'hashes = {{"app.bin" = "{right.upper()}"}}', count=1)
        self.run_line()
        self.job(f'hashes = {{"app.bin" = "{wrong}"}}', count=1)
        _, err = self.run_line(code=2)
        self.assertIn("app.bin: this is not the file that the job is about; its SHA-256 is " + right, err)

    def test_the_label_gets_its_words_without_a_shell(self):
        self.job("on-good = \"sh -c 'echo $0 $1 > label-$1' {slot} {n}\"", count=1, slots=[("a;b $(c)", "virtual:{n}.chip")])
        self.run_line()
        self.assertEqual((self.path / "label-1").read_text(), "a;b $(c) 1\n")

    def test_a_label_that_fails_or_hangs_makes_the_chip_bad(self):
        cases = [("sh -c 'echo no paper >&2; exit 3'", "the command ended with exit code 3: no paper"),
                 ("sleep 1000", "no end within 1 s"), ("no-such-printer", "Cannot start no-such-printer: No such file or directory")]
        for command, cause in cases:
            with self.subTest(command=command):
                self.job(f'on-good = "{command}"\non-good-time-limit = 1', count=1, slots=TWO_SLOTS[:1])
                lines, _ = self.run_line(code=1)
                self.assertRegex(lines[0], r"left: chip 1 BAD, [0-9A-F:]+: programmed, but its label was not made: " + re.escape(cause))

    def test_each_option_of_program_may_stand_in_the_job(self):
        self.job(program='base = "0"\nverify = "readback"\nskip-pages = "1"\nerase = "all"\nwrite = "all"\ndisable-bootloader = true')
        self.run_line()
        self.chip = self.path / "chips/1.chip"
        self.assertEqual(self.flash(4096, 16), b"\xff" * 16)
        self.assertIn(b"disabled", self.run_chip("ccfg")[0])

    def test_paths_are_meant_from_the_jobs_folder(self):
        (self.path / "job").mkdir()
        self.job(program='base = "0"\nreport = "run.html"', count=1, slots=TWO_SLOTS[:1])
        (self.path / "job.toml").rename(self.path / "job/job.toml")
        self.image.rename(self.path / "job/app.bin")
        self.run_raw("line", "run", "job/job.toml")
        self.assertEqual({name.name for name in (self.path / "job").iterdir()}, {"job.toml", "app.bin", "chips", "run.html"})

    def test_dangerous_steps_need_an_agreement_as_ever(self):
        self.job(program='base = "0"\nprotect = "3"', count=1, slots=TWO_SLOTS[:1])
        lines, _ = self.run_line(code=1)
        self.assertIn("--yes", lines[0])
        self.run_line("--yes")

    def test_options_for_every_command_reach_each_chip(self):
        self.job(count=1, slots=TWO_SLOTS[:1])
        lines, _ = self.run_line("--plugin", "no-such.so", code=1)
        self.assertIn("no-such.so", lines[0])


class LineJob(LineCase):
    def refused(self, text, expected, **options):
        self.job(text, **options)
        _, err = self.run_line(code=2)
        self.assertEqual(err.replace(str(self.path) + "/", ""), f"error: {expected}\n")

    def test_mistakes_are_told_with_their_line_and_the_nearest_word(self):
        cases = [
            ("cuont = 3", 'job.toml:4: a job has no cuont (did you mean count?)'),
            ("start = \"now\"", 'job.toml:4: start: "now" is none of immediately, key, command'),
            ("time-limit = 0", "job.toml:4: time-limit is a whole number from 1 to 86400"),
            ("operator = 7", "job.toml:4: operator is a text in quotes, and not an empty one"),
            ("assign = [\"mac\"]", 'job.toml:4: assign: "mac" is none of ieee, ble'),
            ("assign = [\"ieee\", \"ieee\"]", "job.toml:4: assign: ieee is there twice"),
            ("assign = [\"ieee\"]", "job.toml: there is no database: where the addresses come from"),
            ("database = \"line.db\"", 'job.toml:4: database: "line.db" is neither sqlite:FILE nor postgresql://…'),
            ("identities = [\"02:00\"]", 'job.toml:4: identities: "02:00" is no address of 8 bytes, such as 02:00:00:00:00:00:00:01'),
            ("on-good = \"print {mac}\"", "job.toml:4: on-good: there is nothing to fill in for {mac}; there are {ieee}, {ble}, "
                                          "{identity}, {slot} and {n}"),
            ("on-good = \"print 'x\"", "job.toml:4: on-good: a ' is not closed"),
            (f"hashes = {{\"app.bin\" = \"{'0' * 64}\", \"./app.bin\" = \"{'1' * 64}\"}}",
             "job.toml:4: the SHA-256 of app.bin is there twice"),
            ("hashes = {\"app.bin\" = \"12\"}", "job.toml:4: the SHA-256 of app.bin has 64 hexadecimal digits"),
        ]
        for text, expected in cases:
            with self.subTest(text=text):
                self.refused(text, expected, count=0)

    def test_mistakes_in_options_of_program_are_told_as_in_a_configuration(self):
        self.refused("", "job.toml:6: there is no option verfiy for program (did you mean --verify?)", program='verfiy = "crc"')
        self.refused("", 'job.toml:6: --verify: "cr" is none of crc, readback, none', program='verify = "cr"')
        self.refused("", "job.toml:6: record is what the line tells each program by itself", program='record = "sqlite:x"')
        self.refused("", "job.toml:6: there is no option device for program (did you mean --device?)", program='device = "x"')

    def test_one_probe_in_two_slots_is_refused_under_whatever_name(self):
        (self.path / "folder").mkdir()
        (self.path / "link").symlink_to("folder")
        (self.path / "symbolic.chip").symlink_to("a.chip")
        self.file("linked.chip", "")
        os.link(self.path / "linked.chip", self.path / "hard.chip")
        for probes in (("virtual:a.chip", "virtual:./b/../a.chip"), ("gdb:127.0.0.1:3333", "gdb:127.0.0.1:3333,timeout=5"),
                       ("virtual:a.chip", "virtual:a.chip,identity=02:00:00:00:00:00:00:01"),
                       ("gdb:127.0.0.1:3333", "gdb:localhost:3333"), ("gdb:127.0.0.1:3333", "gdb::03333"),
                       ("gdb:[::1]:3333", "gdb:[0:0:0:0:0:0:0:1]:3333"), ("gdb:[::1]:3333", "gdb:[::ffff:127.0.0.1]:3333"),
                       ("gdb:0.0.0.0:3333", "gdb:LOCALHOST:3333"), ("gdb:192.0.2.1:3333", "gdb:192.0.2.001:3333"),
                       ("virtual:a.chip", "virtual:symbolic.chip"), ("virtual:linked.chip", "virtual:hard.chip"),
                       ("virtual:folder/b.chip", "virtual:link/b.chip"),
                       ("virtual:chips/{n}.chip", "virtual:chips/12.chip"), ("virtual:{n}-{n}.chip", "virtual:./3-3.chip")):
            with self.subTest(probes=probes):
                self.job(slots=[("left", probes[0]), ("right", probes[1])])
                _, err = self.run_line(code=2)
                self.assertRegex(err, r"^error: job\.toml:\d+: slot right has the probe of slot left: ")

    def test_probes_that_only_look_alike_may_stand_in_two_slots(self):
        for probes in (("virtual:a.chip", "virtual:A.chip"), ("virtual", "virtual"), ("virtual:{n}.chip", "virtual:{n}.chip"),
                       ("virtual:{n}.chip", "virtual:012.chip"), ("virtual:{n}-{n}.chip", "virtual:3-4.chip")):
            with self.subTest(probes=probes):
                self.job(count=1, slots=[("left", probes[0]), ("right", probes[1])])
                self.run_line()

    def test_slots_are_named_and_at_least_one(self):
        self.refused("", "job.toml: there is no [[slot]]: at least one, with a name and a probe", slots=[])
        self.refused("", "job.toml:10: there are two slots left", slots=[("left", "virtual"), ("left", "virtual")])
        self.refused("", 'job.toml:9: "probe": "jtag" is none of virtual, virtual:FILE and gdb:HOST:PORT', slots=[("left", "jtag")])

    def test_a_job_that_is_no_toml_or_nested_without_end_is_refused(self):
        self.file("job.toml", "device = [")
        self.assertRegex(self.run_line(code=2)[1], r"^error: job\.toml:1: ")
        self.file("job.toml", "device = " + "[" * 100000)
        self.assertIn("job.toml:1: too deeply nested", self.run_line(code=2)[1])
        self.file("job.toml", "")
        self.assertIn("job.toml: there is no device: the part", self.run_line(code=2)[1])


class LineEnd(LineCase):
    """Two runs of the program are held up by a chip that never answers: a server that takes the connection and is silent."""

    def setUp(self):
        super().setUp()
        import socket
        self.server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(self.server.close)
        self.silent = f"gdb:127.0.0.1:{self.server.getsockname()[1]},timeout=600"

    def test_a_chip_that_takes_too_long_is_bad(self):
        self.job("time-limit = 1", count=1, slots=[("right", self.silent)])
        lines, err = self.run_line(code=1)
        self.assertEqual(err, "error: 0 chips good, 1 bad\n")
        self.assertRegex(lines[0], r"right: chip 1 BAD: no end within 1 s: it was ended")

    def test_ctrl_c_lets_chips_finish_and_a_second_one_stops_them(self):
        self.job(count=0, slots=[("right", self.silent)])
        line = self.start_line()
        connection, _ = self.server.accept()
        with connection:
            connection.recv(1)
            line.send_signal(signal.SIGINT)
            self.assertIn(b"Ending", line.stderr.readline())
            self.assertIsNone(line.poll())
            line.send_signal(signal.SIGINT)
            out, err = line.communicate(timeout=120)
        self.assertEqual(line.returncode, 1)
        self.assertIn(b"right: chip 1 BAD: ", out)
        self.assertIn(b"0 chips good, 1 bad", err)

    def test_ctrl_c_before_the_last_chip_is_no_failure_when_all_were_good(self):
        self.job(count=50, slots=[("left", "virtual:{n}.chip")])
        line = self.start_line()
        self.assertIn(b"left: chip 1 good", line.stdout.readline())
        line.send_signal(signal.SIGINT)
        out, err = line.communicate(timeout=120)
        self.assertEqual(line.returncode, 0, err)
        good = 1 + out.count(b" good, ")
        self.assertRegex(err.decode(), rf"Ended before all chips were done: {good} of 50 chips; {good} chips? good, 0 bad\n$")

    def test_a_line_that_ends_before_its_first_chip_is_interrupted(self):
        self.job('start = "command"', count=0, slots=TWO_SLOTS[:1])
        line = self.start_line(stdin=subprocess.PIPE)
        _, err = line.communicate(b"end\n", timeout=120)
        self.assertEqual((line.returncode, err), (130, b"error: 0 chips good, 0 bad\n"))

    def test_a_program_that_is_killed_is_a_bad_chip_of_its_slot_alone(self):
        self.job("bad-in-a-row = 1", slots=[("left", "virtual:{n}.chip"), ("right", self.silent)])
        line = self.start_line()
        connection, _ = self.server.accept()
        with connection:
            connection.recv(1)
            children = Path(f"/proc/{line.pid}/task/{line.pid}/children").read_text().split()
            silent = [c for c in children if self.silent.encode() in Path(f"/proc/{c}/cmdline").read_bytes()]
            os.kill(int(silent[0]), signal.SIGKILL)
            out, err = line.communicate(timeout=120)
        self.assertIn(b"3 chips good, 1 bad", err)
        self.assertIn(b"BAD: the program was ended by signal 9 (Killed) without a verdict", out)

    def test_a_slot_that_hangs_one_that_crashes_and_one_that_loses_its_probe_leave_the_others_alone(self):
        import socket
        servers = {name: socket.create_server(("127.0.0.1", 0)) for name in ("hangs", "crashes", "loses")}
        probes = {name: f"gdb:127.0.0.1:{server.getsockname()[1]},timeout=600" for name, server in servers.items()}
        working = ["one", "two", "three", "four", "five"]
        self.job("bad-in-a-row = 1", count=13, slots=[*probes.items(), *((name, "virtual:chips/{n}.chip") for name in working)])
        line = self.start_line()
        connections = {name: server.accept()[0] for name, server in servers.items()}
        for connection in connections.values():
            connection.recv(1)
        for child in Path(f"/proc/{line.pid}/task/{line.pid}/children").read_text().split():
            if probes["crashes"].encode() in Path(f"/proc/{child}/cmdline").read_bytes():
                os.kill(int(child), signal.SIGSEGV)
        connections["loses"].close()
        told = [line.stdout.readline().decode() for _ in range(10 + 2 * 2)]  # what is bad stops its slot, which is told, too
        self.assertIsNone(line.poll(), "it waits for the one that hangs")
        line.send_signal(signal.SIGINT)
        line.stderr.readline()
        line.send_signal(signal.SIGINT)
        out, err = line.communicate(timeout=120)
        for opened in [*connections.values(), *servers.values()]:
            opened.close()
        self.assertEqual((line.returncode, err), (1, b"error: 10 chips good, 3 bad\n"))
        self.assertIn(b"hangs: chip 1 BAD: ", out)
        self.assertEqual(sum(": STOPPED, " in row for row in told), 2, told)
        self.assertTrue(any(row.startswith("crashes: chip 2 BAD: the program was ended by signal 11") for row in told), told)
        self.assertTrue(any(row.startswith("loses: chip 3 BAD: Cannot reach the GDB server") for row in told), told)
        self.assertEqual({row.split(":")[0] for row in told if " good, " in row}, set(working))
        for number in range(4, 14):
            self.chip = self.path / f"chips/{number}.chip"
            self.assertEqual(self.flash(0, 5000), pattern(5000))

    def test_a_probe_that_is_lost_is_a_bad_chip_of_its_slot_alone(self):
        self.job("bad-in-a-row = 1", slots=[("left", "virtual:{n}.chip"), ("right", self.silent)])
        line = self.start_line()
        connection, _ = self.server.accept()
        connection.recv(1)
        connection.close()
        out, err = line.communicate(timeout=120)
        self.assertIn(b"3 chips good, 1 bad", err)
        self.assertRegex(out, rb"right: chip \d BAD: Cannot reach the GDB server")


class LineOnATerminal(LineCase):
    SIZE = (24, 80)

    def on_terminal(self, *arguments, keys=(), environment=None):
        """`keys` are pairs: a key, and what is shown before somebody presses it."""
        controller, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", *self.SIZE, 0, 0))
        process = subprocess.Popen([PROGRAM, *arguments, "line", "run", "job.toml"], cwd=self.path, stdin=terminal, stdout=terminal,
                                   stderr=terminal, env={**os.environ, "TERM": "xterm", **(environment or {})})
        os.close(terminal)
        shown = b""
        while True:
            if keys and keys[0][1] in shown:
                os.write(controller, keys[0][0])
                keys = keys[1:]
            try:
                piece = os.read(controller, 65536)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        os.close(controller)
        return process.wait(timeout=60), shown.decode()

    def pictures(self, shown):
        """The rows of each picture, without colors."""
        body = shown[shown.index("\x1b[H"):shown.index("\x1b[?1049l")]
        return [re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", "", picture).replace("\r", "").split("\n") for picture in body.split("\x1b[H")[1:]]

    def test_a_table_that_fits_the_terminal(self):
        self.job(count=6)
        code, shown = self.on_terminal()
        self.assertEqual(code, 0)
        pictures = self.pictures(shown)
        for picture in pictures:
            self.assertEqual(len(picture), 24)
            self.assertTrue(all(len(row) <= 80 for row in picture), picture)
        last = "\n".join(pictures[-1])
        for expected in ("LumoD1F64: app.bin", "6 of 6 chips", "GOOD", "BAD", "1 left", "2 right", "Ctrl-C"):
            self.assertIn(expected, last)
        self.assertTrue(shown.rstrip().endswith("6 chips good, 0 bad\x1b[0m"), shown[-200:])

    def test_what_was_bad_stays_below_the_table(self):
        (self.path / "chips").mkdir()
        self.file("chips/1.chip", "no chip")
        self.job(count=2)
        code, shown = self.on_terminal()
        self.assertEqual(code, 1)
        after = shown[shown.index("\x1b[?1049l"):]
        self.assertRegex(after, r"chip 1 BAD: Cannot power up")

    def test_keys_start_chips_and_end_the_line(self):
        self.job('start = "key"', count=0)
        code, shown = self.on_terminal(keys=[(b"2", b"WAIT"), (b"\n", b"     1 good"), (b"q", b"     2 good")])
        self.assertEqual(code, 0)
        self.assertIn("Enter: start all", shown)
        self.assertTrue(shown.rstrip().endswith("3 chips good, 0 bad\x1b[0m"), shown[-200:])

    def test_no_escape_sequences_where_they_are_not_wanted(self):
        self.job(count=1)
        for arguments, environment in ((["--no-color"], {}), ([], {"TERM": "dumb"}), ([], {"NO_COLOR": "1"})):
            code, shown = self.on_terminal(*arguments, environment=environment)
            self.assertEqual(code, 0)
            self.assertNotIn("\x1b", shown)
            self.assertIn(": chip 1 good", shown)


if __name__ == "__main__":
    unittest.main()
