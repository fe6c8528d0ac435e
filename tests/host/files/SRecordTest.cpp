// Motorola S-record: what is read, what is refused and with which words.
#include "host/files/SRecord.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/files/FileTesting.h"

namespace flash::host {
namespace {

ProgramImage ReadNamed(std::span<const std::uint8_t> content) { return ReadSRecord(content, "a.s19"); }

TEST(ReadSRecord, TakesEveryKindOfRecord) {
    const ReadCase cases[] = {
        {"only the end", "S9030000FC\n", {}, {}},
        {"the end without a line end", "S9030000FC", {}, {}},
        {"16-bit data", "S10510000102E7\nS9030000FC\n", {{0x1000, {1, 2}}}, {}},
        {"24-bit data", "S20501000003F6\nS804000000FB\n", {{0x1'0000, {3}}}, {}},
        {"32-bit data", "S3062000000004D5\nS70500000000FA\n", {{0x2000'0000, {4}}}, {}},
        {"widths mixed",
         "S10510000102E7\nS20501000003F6\nS3062000000004D5\nS70500000000FA\n",
         {{0x1000, {1, 2}}, {0x1'0000, {3}}, {0x2000'0000, {4}}},
         {}},
        {"header", "S00600004844521B\nS10510000102E7\nS9030000FC\n", {{0x1000, {1, 2}}}, {}},
        {"line ends of two bytes, small digits", "S10510000102e7\r\nS9030000fc\r\n", {{0x1000, {1, 2}}}, {}},
        {"empty lines", "\nS10510000102E7\n\r\nS9030000FC\n\n", {{0x1000, {1, 2}}}, {}},
        {"data of no bytes counts as a record", "S1031000EC\nS5030001FB\nS9030000FC\n", {}, {}},
        {"16-bit count",
         "S10510000102E7\nS20501000003F6\nS3062000000004D5\nS5030003F9\nS70500000000FA\n",
         {{0x1000, {1, 2}}, {0x1'0000, {3}}, {0x2000'0000, {4}}},
         {}},
        {"24-bit count", "S10510000102E7\nS604000001FA\nS9030000FC\n", {{0x1000, {1, 2}}}, {}},
        {"last 16-bit address", "S104FFFF01FC\nS9030000FC\n", {{0xFFFF, {1}}}, {}},
        {"16-bit record past 64 KiB", "S105FFFF0102F9\nS9030000FC\n", {{0xFFFF, {1, 2}}}, {}},
        {"24-bit record past 16 MiB", "S206FFFFFF0102F9\nS9030000FC\n", {{0xFF'FFFF, {1, 2}}}, {}},
        {"last 32-bit address", "S306FFFFFFFF01FC\nS70500000000FA\n", {{0xFFFF'FFFF, {1}}}, {}},
        {"16-bit entry point", "S9030102F9\n", {}, 0x102},
        {"24-bit entry point", "S8041234565F\n", {}, 0x12'3456},
        {"32-bit entry point", "S70520000101D8\n", {}, 0x2000'0101},
    };
    ExpectRead(cases, ReadNamed);
}

TEST(ReadSRecord, EachByteKnowsItsLine) {
    const ProgramImage image = ReadSRecord(AsBytes("S00600004844521B\nS10510000102E7\nS9030000FC\n"), "a.s19");

    EXPECT_EQ(*image.OriginAt(0x1001), (Origin{"a.s19", "line 2"}));
}

TEST(ReadSRecord, RefusesWhatIsNotWholeAndCorrect) {
    const RefusedCase cases[] = {
        {"nothing", "", "a.s19: the end record (S7, S8 or S9) is missing behind this line: the file may be truncated"},
        {"no end record", "S10510000102E7\n",
         "a.s19, line 1: the end record (S7, S8 or S9) is missing behind this line: the file may be truncated"},
        {"a count is no end", "S10510000102E7\nS5030001FB\n",
         "a.s19, line 2: the end record (S7, S8 or S9) is missing behind this line: the file may be truncated"},
        {"small mark", "s9030000FC\n", "a.s19, line 1: the line does not start with 'S'"},
        {"only the mark", "S\n", "a.s19, line 1: the record has no known type, expected S0 to S3 or S5 to S9"},
        {"reserved type", "S404000000FB\n",
         "a.s19, line 1: the record has no known type, expected S0 to S3 or S5 to S9"},
        {"unknown type", "SA04000000FB\n",
         "a.s19, line 1: the record has no known type, expected S0 to S3 or S5 to S9"},
        {"bad digit", "\nS1051000010ZE7\n", "a.s19, line 2: 'Z' in column 12, expected a hexadecimal digit"},
        {"blank between", "S9030 000FC\n", "a.s19, line 1: character 0x20 in column 6, expected a hexadecimal digit"},
        {"line end of one CR", "S10510000102E7\rS9030000FC\n",
         "a.s19, line 1: character 0x0D in column 15, expected a hexadecimal digit"},
        {"odd digits", "S9030000F\n",
         "a.s19, line 1: the line ends inside a byte: an odd number of hexadecimal digits"},
        {"too short for the address", "S90300\n",
         "a.s19, line 1: the S9 record has 2 bytes, expected at least 4: it is truncated"},
        {"line cut off", "S10510000102\n", "a.s19, line 1: the record says 5 bytes, the line has 4"},
        {"line too long", "S10510000102E700\n", "a.s19, line 1: the record says 5 bytes, the line has 6"},
        {"checksum", "S10510000102E8\n", "a.s19, line 1: checksum is 0xE8, expected 0xE7"},
        {"count too high", "S10510000102E7\nS5030002FA\nS9030000FC\n",
         "a.s19, line 2: the S5 record counts 2 data records, but 1 stands before it"},
        {"overlap", "S10510000102E7\nS104100109E1\nS9030000FC\n",
         "a.s19, line 2: data at 0x00001001-0x00001001 overlaps that of a.s19, line 1 at 0x00001000-0x00001001, first "
         "at 0x00001001"},
        {"count too low", "S10510000102E7\nS20501000003F6\nS5030001FB\nS9030000FC\n",
         "a.s19, line 3: the S5 record counts 1 data record, but 2 stand before it"},
        {"24-bit count wrong", "S20501000003F6\nS604000002F9\nS9030000FC\n",
         "a.s19, line 2: the S6 record counts 2 data records, but 1 stands before it"},
        {"count with data", "S504000000FB\n", "a.s19, line 1: the S5 record has 1 data byte, expected none"},
        {"end with data", "S904000000FB\n", "a.s19, line 1: the S9 record has 1 data byte, expected none"},
        {"past 32 bits", "S307FFFFFFFF0102F9\n",
         "a.s19, line 1: 2 bytes at 0xFFFFFFFF run past the end of the 32-bit address space"},
        {"data behind the end", "S9030000FC\nS10510000102E7\n",
         "a.s19, line 2: a record behind the end record of line 1"},
        {"second end", "S9030000FC\nS9030000FC\n", "a.s19, line 2: a record behind the end record of line 1"},
    };
    ExpectRefused(cases, ReadNamed);
}

TEST(ReadSRecord, TakesWhatEditorsAndOldSystemsAdd) {
    for (const std::string text :
         {"\xEF\xBB\xBFS10510000102E7\nS9030000FC\n", "S10510000102E7 \t\r\n  \r\nS9030000FC  ",
          "S10510000102E7\nS9030000FC\x1A", "S10510000102E7\r\nS9030000FC\r\n\x1A\r\n \n"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(ReadSRecord(AsBytes(text), "a.s19").Runs(), (std::vector<DataRun>{{0x1000, {1, 2}}}));
    }
}

TEST(PrintSRecord, WritesRecordsOfSixteenBytesWithAddressesOf32Bits) {
    const PrintedCase cases[] = {
        {"nothing", {}, {}, "S0030000FC\nS70500000000FA\n"},
        {"17 bytes",
         {{0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}},
         {},
         "S0030000FC\nS31500000000000102030405060708090A0B0C0D0E0F72\nS3060000001010D9\nS70500000000FA\n"},
        {"a gap stays a gap",
         {{0, {1, 2}}, {0x100, {0xAA}}},
         {},
         "S0030000FC\nS307000000000102F5\nS30600000100AA4E\nS70500000000FA\n"},
        {"last address", {{0xFFFF'FFFF, {0x11}}}, {}, "S0030000FC\nS306FFFFFFFF11EC\nS70500000000FA\n"},
        {"entry point", {}, 0x101, "S0030000FC\nS70500000101F8\n"},
    };
    ExpectPrinted(cases, PrintSRecord);
}

}  // namespace
}  // namespace flash::host
