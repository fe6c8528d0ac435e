// The image of program files: order, joining, overlaps and ranges told with both origins.
#include "host/files/ProgramImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/host/files/FileTesting.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;
const Origin kFirst{"a.hex", "line 3"};
const Origin kSecond{"b.elf", "section .text"};

// A run that is refused, with which words.
struct RefusedRun {
    const char* name;
    std::uint32_t address;
    Bytes bytes;
    const char* text;
};

ProgramImage OneSegment(std::uint32_t address, const Bytes& bytes, const Origin& origin) {
    ProgramImage image;
    image.Add(address, bytes, origin);
    return image;
}

TEST(Origin, NamesFileAndPlace) {
    EXPECT_EQ(Describe({"a.hex", "line 3"}), "a.hex, line 3");
    EXPECT_EQ(Describe({"a.bin", ""}), "a.bin");
}

TEST(ProgramImage, JoinsNeighboursAndKeepsGapsWhateverTheOrderOfAdding) {
    ProgramImage image;
    image.Add(0x104, Bytes{5}, kSecond);
    image.Add(0x102, Bytes{3, 4}, kFirst);
    image.Add(0x200, Bytes{9}, kFirst);
    image.Add(0x100, Bytes{1, 2}, kSecond);

    EXPECT_EQ(image.Runs(), (std::vector<DataRun>{{0x100, {1, 2, 3, 4, 5}}, {0x200, {9}}}));
    EXPECT_EQ(image.Segments().size(), 4u);
    EXPECT_EQ(image.ByteCount(), 6u);
}

TEST(ProgramImage, AnEmptyRunAddsNothing) { EXPECT_TRUE(OneSegment(0x100, {}, kFirst).IsEmpty()); }

TEST(ProgramImage, KnowsTheOriginOfEachByte) {
    ProgramImage image = OneSegment(0x100, {1, 2}, kFirst);
    image.Add(0x102, Bytes{3}, kSecond);

    EXPECT_EQ(image.OriginAt(0xFF), nullptr);
    EXPECT_EQ(*image.OriginAt(0x100), kFirst);
    EXPECT_EQ(*image.OriginAt(0x101), kFirst);
    EXPECT_EQ(*image.OriginAt(0x102), kSecond);
    EXPECT_EQ(image.OriginAt(0x103), nullptr);
}

TEST(ProgramImage, OverlapIsRefusedWithBothOriginsAndTheFirstSharedAddress) {
    const RefusedRun cases[] = {
        {"the last byte reaches in",
         0x0FE,
         {7, 7, 7},
         "b.elf, section .text: data at 0x000000FE-0x00000100 overlaps that of a.hex, line 3 at 0x00000100-0x00000103, "
         "first at 0x00000100"},
        {"starts at the last byte",
         0x103,
         {7, 7},
         "b.elf, section .text: data at 0x00000103-0x00000104 overlaps that of a.hex, line 3 at 0x00000100-0x00000103, "
         "first at 0x00000103"},
        {"lies inside",
         0x101,
         {7},
         "b.elf, section .text: data at 0x00000101-0x00000101 overlaps that of a.hex, line 3 at 0x00000100-0x00000103, "
         "first at 0x00000101"},
        {"lies around",
         0x0FF,
         {7, 7, 7, 7, 7, 7},
         "b.elf, section .text: data at 0x000000FF-0x00000104 overlaps that of a.hex, line 3 at 0x00000100-0x00000103, "
         "first at 0x00000100"},
        {"equal data",
         0x100,
         {1, 2, 3, 4},
         "b.elf, section .text: data at 0x00000100-0x00000103 overlaps that of a.hex, line 3 at 0x00000100-0x00000103, "
         "first at 0x00000100"},
    };
    for (const RefusedRun& c : cases) {
        SCOPED_TRACE(c.name);
        ProgramImage image = OneSegment(0x100, {1, 2, 3, 4}, kFirst);

        EXPECT_EQ(ErrorOf([&] { image.Add(c.address, c.bytes, kSecond); }), c.text);
        EXPECT_EQ(image.Runs(), (std::vector<DataRun>{{0x100, {1, 2, 3, 4}}}));
    }
}

TEST(ProgramImage, TouchingIsNoOverlap) {
    ProgramImage image = OneSegment(0x100, {1}, kFirst);
    image.Add(0x0FF, Bytes{0}, kSecond);
    image.Add(0x101, Bytes{2}, kSecond);

    EXPECT_EQ(image.Runs(), (std::vector<DataRun>{{0x0FF, {0, 1, 2}}}));
}

TEST(ProgramImage, TheLastAddressIsUsableAndTheNextIsRefused) {
    EXPECT_EQ(OneSegment(0xFFFF'FFFF, {1}, kFirst).Runs(), (std::vector<DataRun>{{0xFFFF'FFFF, {1}}}));
    EXPECT_EQ(ErrorOf([] {
                  OneSegment(0xFFFF'FFFF, {1, 2}, kFirst);
              }),
              "a.hex, line 3: 2 bytes at 0xFFFFFFFF run past the end of the 32-bit address space");
}

TEST(ProgramImage, AMergeThatFailsChangesNothing) {
    ProgramImage image = OneSegment(0x100, {1}, kFirst);
    ProgramImage other = OneSegment(0x0F0, {2}, kSecond);
    other.Add(0x100, Bytes{3}, kSecond);
    other.entryPoint = 0x0F0;

    EXPECT_THAT(ErrorOf([&] { image.Merge(other); }), ::testing::HasSubstr("first at 0x00000100"));
    EXPECT_EQ(image.Runs(), (std::vector<DataRun>{{0x100, {1}}}));
    EXPECT_FALSE(image.entryPoint.has_value());
}

TEST(ProgramImage, AMergeKeepsTheFirstEntryPoint) {
    ProgramImage image = OneSegment(0x100, {1}, kFirst);
    ProgramImage second = OneSegment(0x200, {2}, kSecond);
    ProgramImage third = OneSegment(0x300, {3}, kSecond);
    second.entryPoint = 0x200;
    third.entryPoint = 0x300;

    image.Merge(second);
    image.Merge(third);

    EXPECT_EQ(image.entryPoint, 0x200u);
    EXPECT_EQ(image.ByteCount(), 3u);
}

TEST(RequireInside, TakesWhatFitsToTheByte) {
    EXPECT_EQ(ErrorOf([] { RequireInside(OneSegment(0x1000, Bytes(0x1000), kFirst), 0x1000, 0x1000, "flash"); }), "");
    EXPECT_EQ(ErrorOf([] { RequireInside(OneSegment(0xFFFF'FFFF, {1}, kFirst), 0xFFFF'F000, 0x1000, "flash"); }), "");
}

TEST(RequireInside, NamesTheOriginAndTheFirstByteOutside) {
    const RefusedRun cases[] = {
        {"starts below",
         0x0FFF,
         {1, 2},
         "a.hex, line 3: data at 0x00000FFF-0x00001000 is outside flash (0x00001000-0x00001FFF), first at 0x00000FFF"},
        {"ends above",
         0x1FFF,
         {1, 2},
         "a.hex, line 3: data at 0x00001FFF-0x00002000 is outside flash (0x00001000-0x00001FFF), first at 0x00002000"},
        {"is elsewhere",
         0x2000'0000,
         {1},
         "a.hex, line 3: data at 0x20000000-0x20000000 is outside flash (0x00001000-0x00001FFF), first at 0x20000000"},
    };
    for (const RefusedRun& c : cases) {
        SCOPED_TRACE(c.name);
        const ProgramImage image = OneSegment(c.address, c.bytes, kFirst);

        EXPECT_EQ(ErrorOf([&] { RequireInside(image, 0x1000, 0x1000, "flash"); }), c.text);
    }
}

TEST(ProgramImage, GivesWhatOfItLiesInARange) {
    ProgramImage image;
    image.Add(0x10, std::vector<std::uint8_t>{1, 2, 3, 4}, {"a", ""});
    image.Add(0x20, std::vector<std::uint8_t>{5}, {"b", ""});
    struct Case {
        std::uint32_t first, length;
        std::vector<DataRun> runs;
    };
    const Case cases[] = {{0x11, 2, {{0x11, {2, 3}}}},
                          {0, 0x11, {{0x10, {1}}}},
                          {0x13, 0x100, {{0x13, {4}}, {0x20, {5}}}},
                          {0x14, 0xC, {}},
                          {0, 0xFFFF'FFFF, image.Runs()}};
    for (const Case& c : cases) {
        EXPECT_EQ(image.Within(c.first, c.length).Runs(), c.runs) << c.first;
    }
}

}  // namespace
}  // namespace flash::host
