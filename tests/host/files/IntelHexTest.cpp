// Intel HEX: what is read, what is refused and with which words, what is written.
#include "host/files/IntelHex.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/files/FileTesting.h"

namespace flash::host {
namespace {

ProgramImage ReadNamed(std::span<const std::uint8_t> content) { return ReadIntelHex(content, "a.hex"); }

TEST(ReadIntelHex, TakesEveryKindOfRecord) {
    const ReadCase cases[] = {
        {"only the end", ":00000001FF\n", {}, {}},
        {"the end without a line end", ":00000001FF", {}, {}},
        {"data", ":0300300002337A1E\n:00000001FF\n", {{0x30, {0x02, 0x33, 0x7A}}}, {}},
        {"line ends of two bytes", ":0300300002337A1E\r\n:00000001FF\r\n", {{0x30, {0x02, 0x33, 0x7A}}}, {}},
        {"small digits", ":0300300002337a1e\n:00000001ff\n", {{0x30, {0x02, 0x33, 0x7A}}}, {}},
        {"empty lines", "\n:0300300002337A1E\n\r\n:00000001FF\n\n\r\n", {{0x30, {0x02, 0x33, 0x7A}}}, {}},
        {"data of no bytes", ":00001000F0\n:00000001FF\n", {}, {}},
        {"the last byte of 64 KiB", ":01FFFF0011F0\n:00000001FF\n", {{0xFFFF, {0x11}}}, {}},
        {"two bytes up to the end of 64 KiB", ":02FFFE001122CE\n:00000001FF\n", {{0xFFFE, {0x11, 0x22}}}, {}},
        {"linear base", ":020000042000DA\n:0300300002337A1E\n:00000001FF\n", {{0x2000'0030, {0x02, 0x33, 0x7A}}}, {}},
        {"linear base, past 64 KiB",
         ":020000042000DA\n:02FFFF001122CD\n:00000001FF\n",
         {{0x2000'FFFF, {0x11, 0x22}}},
         {}},
        {"highest address", ":02000004FFFFFC\n:01FFFF0011F0\n:00000001FF\n", {{0xFFFF'FFFF, {0x11}}}, {}},
        {"segment base", ":020000021000EC\n:0300300002337A1E\n:00000001FF\n", {{0x1'0030, {0x02, 0x33, 0x7A}}}, {}},
        {"highest segment address", ":02000002FFFFFE\n:01FFFF0011F0\n:00000001FF\n", {{0x10'FFEF, {0x11}}}, {}},
        {"a base back to 0",
         ":020000042000DA\n:020000000102FB\n:020000040000FA\n:0300300002337A1E\n:00000001FF\n",
         {{0x30, {0x02, 0x33, 0x7A}}, {0x2000'0000, {1, 2}}},
         {}},
        {"a base of one kind replaces the other",
         ":020000042000DA\n:020000021000EC\n:0300300002337A1E\n:00000001FF\n",
         {{0x1'0030, {0x02, 0x33, 0x7A}}},
         {}},
        {"descending addresses", ":01010000AA54\n:020000000102FB\n:00000001FF\n", {{0, {1, 2}}, {0x100, {0xAA}}}, {}},
        {"linear entry point", ":0400000500000101F5\n:00000001FF\n", {}, 0x101},
        {"entry point 0", ":0400000500000000F7\n:00000001FF\n", {}, 0},
        {"segment entry point", ":0400000312340005AE\n:00000001FF\n", {}, 0x1'2345},
    };
    ExpectRead(cases, ReadNamed);
}

TEST(ReadIntelHex, EachByteKnowsItsLine) {
    const ProgramImage image = ReadIntelHex(AsBytes(":020000000102FB\n\n:01010000AA54\n:00000001FF\n"), "a.hex");

    EXPECT_EQ(*image.OriginAt(1), (Origin{"a.hex", "line 1"}));
    EXPECT_EQ(*image.OriginAt(0x100), (Origin{"a.hex", "line 3"}));
}

TEST(ReadIntelHex, TakesWhatEditorsAndOldSystemsAdd) {
    for (const std::string text :
         {"\xEF\xBB\xBF:020000000102FB\n:00000001FF\n", ":020000000102FB \t\r\n  \r\n:00000001FF  ",
          ":020000000102FB\n:00000001FF\x1A", ":020000000102FB\r\n:00000001FF\r\n\x1A\r\n \n"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(ReadIntelHex(AsBytes(text), "a.hex").Runs(), (std::vector<DataRun>{{0, {1, 2}}}));
    }
}

TEST(ReadIntelHex, RefusesWhatIsNotWholeAndCorrect) {
    const RefusedCase cases[] = {
        {"nothing", "", "a.hex: the end record (type 01) is missing behind this line: the file is truncated"},
        {"no end record", ":020000000102FB\n",
         "a.hex, line 1: the end record (type 01) is missing behind this line: the file is truncated"},
        {"other text", "hello\n", "a.hex, line 1: the line does not start with ':'"},
        {"leading blank", " :00000001FF\n", "a.hex, line 1: the line does not start with ':'"},
        {"blank between", ":0000 0001FF\n", "a.hex, line 1: character 0x20 in column 6, expected a hexadecimal digit"},
        {"blanks in front of a lone CR", ":00000001FF \r \n",
         "a.hex, line 1: character 0x20 in column 12, expected a hexadecimal digit"},
        {"two Ctrl-Z", ":00000001FF\n\x1A\x1A", "a.hex, line 2: the line does not start with ':'"},
        {"Ctrl-Z between", ":020000000102FB\x1A\n:00000001FF\n",
         "a.hex, line 1: character 0x1A in column 16, expected a hexadecimal digit"},
        {"byte-order mark behind the start", ":020000000102FB\n\xEF\xBB\xBF:00000001FF\n",
         "a.hex, line 2: the line does not start with ':'"},
        {"line end of one CR", ":020000000102FB\r:00000001FF\n",
         "a.hex, line 1: character 0x0D in column 16, expected a hexadecimal digit"},
        {"CR at the end of the file", ":00000001FF\r",
         "a.hex, line 1: character 0x0D in column 12, expected a hexadecimal digit"},
        {"two CR", ":00000001FF\r\r\n", "a.hex, line 1: character 0x0D in column 12, expected a hexadecimal digit"},
        {"bad digit", "\n:0200000G0102FB\n", "a.hex, line 2: 'G' in column 9, expected a hexadecimal digit"},
        {"odd digits", ":00000001F\n",
         "a.hex, line 1: the line ends inside a byte: an odd number of hexadecimal digits"},
        {"only the mark", ":\n", "a.hex, line 1: the record has 0 bytes, expected at least 5: it is truncated"},
        {"too short", ":00000001\n", "a.hex, line 1: the record has 4 bytes, expected at least 5: it is truncated"},
        {"line cut off", ":0300300002337A\n", "a.hex, line 1: the record says 3 data bytes, the line has 2"},
        {"line too long", ":020000000102FB00\n", "a.hex, line 1: the record says 2 data bytes, the line has 3"},
        {"checksum", ":0300300002337A1F\n", "a.hex, line 1: checksum is 0x1F, expected 0x1E"},
        {"end with data", ":0100000100FE\n", "a.hex, line 1: a record of type 01 has 1 data byte, expected 0"},
        {"end with offset", ":00000101FE\n",
         "a.hex, line 1: a record of type 01 has the offset 0x0001, expected 0x0000"},
        {"short segment base", ":0100000201FC\n", "a.hex, line 1: a record of type 02 has 1 data byte, expected 2"},
        {"short segment entry", ":0100000301FB\n", "a.hex, line 1: a record of type 03 has 1 data byte, expected 4"},
        {"short linear base", ":0100000420DB\n", "a.hex, line 1: a record of type 04 has 1 data byte, expected 2"},
        {"linear base with offset", ":020002042000D8\n",
         "a.hex, line 1: a record of type 04 has the offset 0x0002, expected 0x0000"},
        {"short linear entry", ":020000050000F9\n", "a.hex, line 1: a record of type 05 has 2 data bytes, expected 4"},
        {"unknown type", ":00000006FA\n", "a.hex, line 1: record type 06, expected 00 to 05"},
        {"wrap in the 64 KiB of a segment base", ":020000021000EC\n:02FFFF001122CD\n",
         "a.hex, line 2: 2 bytes at offset 0xFFFF wrap around at the end of their 64 KiB"},
        {"past the address space", ":02000004FFFFFC\n:02FFFF001122CD\n",
         "a.hex, line 2: 2 bytes at 0xFFFFFFFF run past the end of the 32-bit address space"},
        {"wrap in 64 KiB", ":02FFFF001122CD\n",
         "a.hex, line 1: 2 bytes at offset 0xFFFF wrap around at the end of their 64 KiB"},
        {"second entry point", ":0400000500000101F5\n:0400000312340005AE\n:00000001FF\n",
         "a.hex, line 2: a second entry point, the first is in line 1"},
        {"data behind the end", ":00000001FF\n:020000000102FB\n",
         "a.hex, line 2: a record behind the end record of line 1"},
        {"second end", ":00000001FF\n:00000001FF\n", "a.hex, line 2: a record behind the end record of line 1"},
        {"text behind the end", ":00000001FF\nbye\n", "a.hex, line 2: the line does not start with ':'"},
        {"overlap", ":0300300002337A1E\n:010031005579\n:00000001FF\n",
         "a.hex, line 2: data at 0x00000031-0x00000031 overlaps that of a.hex, line 1 at 0x00000030-0x00000032, "
         "first at 0x00000031"},
    };
    ExpectRefused(cases, ReadNamed);
}

TEST(PrintIntelHex, WritesLinesOfSixteenBytesWithBasesWhereTheyChange) {
    const PrintedCase cases[] = {
        {"nothing", {}, {}, ":00000001FF\n"},
        {"17 bytes",
         {{0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}},
         {},
         ":10000000000102030405060708090A0B0C0D0E0F78\n:0100100010DF\n:00000001FF\n"},
        {"a gap stays a gap", {{0, {1, 2}}, {0x100, {0xAA}}}, {}, ":020000000102FB\n:01010000AA54\n:00000001FF\n"},
        {"across 64 KiB", {{0xFFFF, {0xAA, 0xBB}}}, {}, ":01FFFF00AA57\n:020000040001F9\n:01000000BB44\n:00000001FF\n"},
        {"high address", {{0x2000'0030, {0x02, 0x33, 0x7A}}}, {}, ":020000042000DA\n:0300300002337A1E\n:00000001FF\n"},
        {"last address", {{0xFFFF'FFFF, {0x11}}}, {}, ":02000004FFFFFC\n:01FFFF0011F0\n:00000001FF\n"},
        {"entry point", {}, 0x101, ":0400000500000101F5\n:00000001FF\n"},
    };
    ExpectPrinted(cases, PrintIntelHex);
}

}  // namespace
}  // namespace flash::host
