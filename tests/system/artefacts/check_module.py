#!/usr/bin/env python3
"""Reads a built plug-in module and checks what a host and a security team expect of the file.

usage: check_module.py MODULE [--expect-failure CHECK]...

Prints one line per check; exit code 1 when one fails. With --expect-failure exactly the checks so named must fail: that is
how the tests prove that each check can fail.
"""
import argparse
import re
import subprocess
import sys

EXPORT = "CreateFlashDevice2"
ELF_LIBRARIES = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6", "ld-linux-x86-64.so.2"}
SYSTEM_DLLS = {"kernel32.dll", "msvcrt.dll", "advapi32.dll", "user32.dll"}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def elf_checks(module):
    dynamic = output_of("readelf", "--wide", "--dynamic", module)
    segments = output_of("readelf", "--wide", "--program-headers", module)
    symbols = output_of("nm", "--dynamic", "--defined-only", "--format=posix", module)
    exports = {line.split()[0] for line in symbols.splitlines()}
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
    stack = re.search(r"GNU_STACK.*", segments)
    return {
        "exports": exports == {EXPORT},
        "imports": bool(needed) and needed <= ELF_LIBRARIES,
        "relro": "GNU_RELRO" in segments,
        "bind-now": "BIND_NOW" in dynamic or re.search(r"FLAGS_1.*\bNOW\b", dynamic) is not None,
        "no-exec-stack": stack is not None and "RWE" not in stack.group(0),
        "no-text-relocations": "TEXTREL" not in dynamic,
        "stack-protector": "__stack_chk_fail" in output_of("nm", "--dynamic", "--undefined-only", module),
    }


def pe_checks(module):
    headers = output_of("x86_64-w64-mingw32-objdump", "--private-headers", module)
    exports = set(re.findall(r"^\t\[ *\d+\] (?:\+base\[ *\d+\] +[0-9a-f]+ )?(\w+)$", headers, re.MULTILINE))
    imports = {name.lower() for name in re.findall(r"DLL Name: (\S+)", headers)}
    return {
        "exports": exports == {EXPORT},
        "imports": bool(imports) and imports <= SYSTEM_DLLS,
        "dynamic-base": "DYNAMIC_BASE" in headers,
        "nx": "NX_COMPAT" in headers,
        "high-entropy": "HIGH_ENTROPY_VA" in headers,
        "relocations": re.search(r"Entry 5 [0-9a-f]+ 0*[1-9a-f]", headers) is not None,
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("module")
    parser.add_argument("--expect-failure", action="append", default=[])
    arguments = parser.parse_args()
    is_pe = arguments.module.endswith(".dll")
    checks = pe_checks(arguments.module) if is_pe else elf_checks(arguments.module)
    for name, holds in checks.items():
        print(f"{name}: {'holds' if holds else 'FAILS'}")
    failed = {name for name, holds in checks.items() if not holds}
    expected = set(arguments.expect_failure)
    if failed != expected:
        sys.exit(f"failed: {sorted(failed)}, expected to fail: {sorted(expected)}")


main()
