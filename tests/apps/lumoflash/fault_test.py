"""`--fault`: a virtual chip that breaks, to try scripts against."""
import unittest

from lumoflash import Case, pattern


class Fault(Case):
    def test_a_fault_fails_the_command_and_the_same_command_without_it_succeeds(self):
        program = ["program", f"{self.file('a.bin', pattern(9000))}@0"]
        for fault, code in (("power-loss-inside-operation@5", 1), ("link-error-at-transfer@40", 1), ("operation-fails@1", 1),
                            ("core-stops-at-operation@7", 1), ("stuck-busy@3", 1), ("operation-does-nothing@9", 3),
                            ("bit-that-flips@0x1234:0", 3), ("late-ready@2", 0)):
            with self.subTest(fault=fault):
                self.chip = self.path / f"{fault}.bin"
                _, err = self.run_chip("--fault", fault, *program, code=code)
                self.assertEqual(err.startswith("error: "), code != 0, err)
                self.run_chip(*program)
                self.run_chip("verify", *program[1:])

    def test_several_faults_strike(self):
        program = ["program", f"{self.file('a.bin', pattern(9000))}@0"]
        self.run_chip("--fault", "late-ready@1", "--fault", "operation-fails@2", *program, code=1)

    def test_what_is_no_fault_ends_with_2_and_touches_nothing(self):
        for fault, expected in (("stuck-bussy@1", "--fault: there is no fault \"stuck-bussy\" (did you mean stuck-busy?)"),
                                ("stuck-busy@0", "--fault: \"0\" is no number"), ("bit-that-flips@0:9", "--fault: \"0:9\" is no bit")):
            with self.subTest(fault=fault):
                self.assertIn(expected, self.run_chip("--fault", fault, "erase", code=2)[1])
                self.assertFalse(self.chip.exists())


if __name__ == "__main__":
    unittest.main()
