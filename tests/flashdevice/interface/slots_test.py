"""The slots of the two interfaces as a compiler of the other Windows ABI lays them out: slots_test.py CLANG HEADER-FOLDER.

Such a compiler gives overloads and destructors other places than MinGW-w64 does, so the headers have neither. Clang tells the
layout without a system to compile for; the two headers that ours include are stood in for by a few types."""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

STAND_INS = {
    "cstdint": "namespace std { using uint8_t = unsigned char; using uint16_t = unsigned short; using uint32_t = unsigned int;"
               " using uint64_t = unsigned long long; using int64_t = long long; }",
    "cstddef": "namespace std { using size_t = decltype(sizeof 0); }",
}
# A table is laid out when something calls through it.
CALLER = """#include "IFlashDevice2.h"
const char* First(flash::IFlashDevice2* device) { return device->Release(); }
const char* Second(flash::IFlashHost* host) { return host->RunTarget(); }
"""


def told_slots(text):
    """Function names by slot, as the header's comments and reserved names tell."""
    slots = {}
    slot = None
    for line in text.splitlines():
        if told := re.search(r"// Slot (\d+)\.", line):
            slot = int(told[1])
        if declared := re.search(r"virtual .*?(\w+)\(", line):
            name = declared[1]
            reserved = re.fullmatch(r"Reserved(\d+)", name)
            slots[int(reserved[1]) if reserved else slot] = name
    return slots


def laid_out_slots(clang, texts):
    """Function names by slot for each interface, as the compiler places them."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in {**STAND_INS, **texts, "caller.cpp": CALLER}.items():
            (pathlib.Path(folder) / name).write_text(text)
        command = [clang, "--target=x86_64-pc-windows-msvc", "-std=c++20", "-nostdinc", "-I", folder, "-Xclang",
                   "-fdump-vtable-layouts", "-S", "-o", "/dev/null", f"{folder}/caller.cpp"]
        output = subprocess.run(command, capture_output=True, text=True, check=True)
    tables = {}
    for name, table in re.findall(r"VFTable indices for 'flash::(\w+)'.*?\n((?: +\d+ \|.*\n)+)", output.stdout + output.stderr):
        tables[name] = {int(slot): function for slot, function in re.findall(r"(\d+) \| .*?::\w+::(\w+)\(", table)}
    return tables


class Slots(unittest.TestCase):
    def setUp(self):
        self.texts = {path.name: path.read_text() for path in HEADERS.glob("*.h")}

    def test_both_tables_are_laid_out_as_the_comments_tell(self):
        tables = laid_out_slots(CLANG, self.texts)
        for name, slots in {"IFlashDevice2": 9, "IFlashHost": 28}.items():
            told = told_slots(self.texts[f"{name}.h"])
            self.assertEqual(sorted(told), list(range(slots)), name)
            self.assertEqual(tables[name], told, name)

    def test_two_functions_of_one_name_would_be_noticed(self):
        text = self.texts["IFlashHost.h"]
        overload = "virtual const char* HaltTarget() = 0;"
        self.assertIn(overload, text)
        self.texts["IFlashHost.h"] = text.replace(overload, overload + "\n    virtual const char* RunTarget(int) = 0;")
        self.assertNotEqual(laid_out_slots(CLANG, self.texts)["IFlashHost"], told_slots(text))


if __name__ == "__main__":
    CLANG, HEADERS = sys.argv[1], pathlib.Path(sys.argv[2])
    unittest.main(argv=sys.argv[:1])
