#!/usr/bin/env python3
"""What docs/gdb.md tells editors to do works: its blocks of JSON are read from the page, and done as the editor does."""
import json
import os
import re
import subprocess
import unittest
from pathlib import Path

from served import GDB, LIMIT, PROGRAM, Case

PAGE = Path(os.environ["FLASH_SOURCE"]) / "docs/gdb.md"


class Editor(Case):
    def setUp(self):
        super().setUp()
        blocks = [json.loads(block) for block in re.findall(r"```json\n(.*?)```", PAGE.read_text(), re.DOTALL)]
        self.launch = next(block for block in blocks if "configurations" in block)["configurations"][0]
        self.task = next(block for block in blocks if "tasks" in block)["tasks"][0]

    def start_task(self):
        """Until the line by which the editor knows that it may go on; its address. The port is a free one."""
        self.assertEqual(self.task["label"], self.launch["preLaunchTask"])
        self.assertEqual(self.task["command"], "lumoflash")
        self.server = subprocess.Popen([PROGRAM, *self.task["args"], "--listen", "127.0.0.1:0"], cwd=self.path,
                                       stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.addCleanup(self.server.stderr.close)
        self.addCleanup(self.end_server, self.server)
        line = self.server.stdout.readline().decode()
        self.assertRegex(line, self.task["problemMatcher"]["background"]["endsPattern"])
        return line.split()[-1]

    def test_the_task_and_the_launch_configuration_load_and_stop_in_main(self):
        select = "extended-remote" if self.launch["useExtendedRemote"] else "remote"
        commands = [f"-target-select {select} {self.start_task()}"]
        commands += [f'-interpreter-exec console "{command["text"]}"'
                     for command in self.launch["postRemoteConnectCommands"]]
        commands += ["-break-insert -t -h main", "-exec-continue"]
        debugger = subprocess.Popen([GDB, "-nx", "--interpreter=mi2", str(self.example)], stdin=subprocess.PIPE,
                                    stdout=subprocess.PIPE, cwd=self.path, text=True)
        self.addCleanup(debugger.stdout.close)
        debugger.stdin.write("\n".join(commands) + "\n")
        debugger.stdin.flush()
        seen = []
        for line in debugger.stdout:
            seen.append(line)
            if line.startswith("^error") or ("*stopped" in line and 'func="main"' in line):
                break
        debugger.communicate("-gdb-exit\n", timeout=LIMIT)
        self.assertIn('func="main"', seen[-1], "".join(seen))
        self.assertEqual(self.server.wait(LIMIT), 0, "the task ends with its debugger")


if __name__ == "__main__":
    unittest.main()
