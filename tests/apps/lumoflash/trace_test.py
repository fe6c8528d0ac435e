"""--trace: a timeline that a viewer can draw, and the rules that say so."""
import copy
import json
import unittest

from lumoflash import SECTOR, Case, pattern
from trace_rules import complaints


class Trace(Case):
    def trace(self, *arguments, code=0):
        self.run_chip("--trace", "t.json", *arguments, code=code)
        return json.loads((self.path / "t.json").read_text())

    def curve(self, trace, name):
        return [event["args"] for event in trace["traceEvents"] if event["ph"] == "C" and event["name"] == name]

    def test_every_track_can_be_drawn(self):
        image = f"{self.file('a.bin', pattern(3 * SECTOR[self.device]))}@0"
        for arguments, code in [(["program", image], 0), (["program", image, "--verify", "readback"], 0),
                                (["--fault", "operation-fails@40", "program", image], 1),
                                (["--fault", "power-loss-inside-operation@9", "program", image], 1),
                                (["mac", "write", "ble", "C2:00:00:00:00:01"], 0), (["verify", image], 3)]:
            with self.subTest(arguments=arguments):
                self.assertEqual(complaints(self.trace("erase")), [])
                self.assertEqual(complaints(self.trace(*arguments, code=code)), [])

    def test_curves_end_at_what_was_done(self):
        words = 2 * SECTOR[self.device] // 4
        trace = self.trace("program", f"{self.file('a.bin', b'1234' * words)}@0", "--write", "all")
        self.assertEqual(self.curve(trace, "words programmed")[-1], {"words": words})
        transfers = [event for event in trace["traceEvents"] if event["ph"] == "X" and event["name"] in {"read", "write"}]
        total = {name: sum(event["args"]["bytes"] for event in transfers if event["name"] == name) for name in ("read", "write")}
        self.assertEqual(self.curve(trace, "bytes on the link")[-1], {"read": total["read"], "written": total["write"]})

    def test_the_rules_notice_what_is_planted(self):
        trace = self.trace("program", f"{self.file('a.bin', pattern(100))}@0")
        first = next(event for event in trace["traceEvents"] if event["ph"] == "X" and event["tid"] == 1)
        overlap = {**first, "ts": round(first["ts"] + first["dur"] / 2, 3), "name": "planted"}
        cases = [
            ("overlap", lambda events: events.append(overlap), "overlaps"),
            ("no name", lambda events: events.append({**overlap, "tid": 99}), "has no name"),
            ("a curve that falls", lambda events: events.append(
                {"name": "words programmed", "ph": "C", "pid": 1, "ts": 1e12, "args": {"words": 0}}), "falls"),
            ("a curve that goes back", lambda events: events.append(
                {"name": "words programmed", "ph": "C", "pid": 1, "ts": 0, "args": {"words": 1 << 30}}), "back in time"),
            ("no time", lambda events: events.append({**first, "ts": 1e12, "dur": 0}), "lasts no time"),
            ("an unknown kind", lambda events: events.append({**first, "ph": "B"}), "unknown kind"),
        ]
        for name, plant, expected in cases:
            with self.subTest(planted=name):
                planted = copy.deepcopy(trace)
                plant(planted["traceEvents"])
                self.assertTrue(any(expected in each for each in complaints(planted)), complaints(planted))


if __name__ == "__main__":
    unittest.main()
