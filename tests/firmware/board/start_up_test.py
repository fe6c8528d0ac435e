#!/usr/bin/env python3
# Runs the flashloader's start-up on an emulated board after an application that left the core in a state of its own.
# Usage: start_up_test.py EMULATOR MACHINE IMAGE APPLICATION EXPECTED-OUTPUT
import subprocess
import sys

LIMIT_SECONDS = 120  # it takes less than one, unless the core is lost


def main():
    emulator, machine, image, application, expected = sys.argv[1:]
    command = [emulator, "-M", machine, "-display", "none", "-serial", "null", "-monitor", "none", "-icount", "shift=5",
               "-semihosting-config", "enable=on,target=native", "-kernel", application,
               "-device", f"loader,file={image}"]
    try:
        run = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT_SECONDS)
        output = (run.stdout + run.stderr).strip()
    except subprocess.TimeoutExpired:
        output = "nothing was reported"
    if output != expected:
        sys.exit(f"expected: {expected}\nfound:    {output}")


main()
