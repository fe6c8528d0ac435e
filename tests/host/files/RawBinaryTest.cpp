// Raw binary: where it lies, how gaps are filled.
#include "host/files/RawBinary.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/host/files/FileTesting.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ReadRawBinary, LiesAtItsBase) {
    const ProgramImage image = ReadRawBinary(Bytes{1, 2, 3}, 0x1000, "a.bin");

    EXPECT_EQ(image.Runs(), (std::vector<DataRun>{{0x1000, {1, 2, 3}}}));
    EXPECT_EQ(*image.OriginAt(0x1002), (Origin{"a.bin", ""}));
    EXPECT_FALSE(image.entryPoint.has_value());
}

TEST(ReadRawBinary, EndsAtTheLastAddressAtTheLatest) {
    EXPECT_EQ(ReadRawBinary(Bytes{1, 2}, 0xFFFF'FFFE, "a.bin").ByteCount(), 2u);
    EXPECT_EQ(ErrorOf([] {
                  ReadRawBinary(Bytes{1, 2, 3}, 0xFFFF'FFFE, "a.bin");
              }),
              "a.bin: 3 bytes at 0xFFFFFFFE run past the end of the 32-bit address space");
}

TEST(PrintRawBinary, StartsAtTheFirstByteAndFillsGaps) {
    ProgramImage image;
    image.Add(0x1004, Bytes{5}, {"a", ""});
    image.Add(0x1000, Bytes{1, 2}, {"a", ""});

    EXPECT_EQ(PrintRawBinary(image), (Bytes{1, 2, 0xFF, 0xFF, 5}));
    EXPECT_EQ(PrintRawBinary(image, 0), (Bytes{1, 2, 0, 0, 5}));
    EXPECT_EQ(PrintRawBinary({}), Bytes{});
}

TEST(PrintRawBinary, RefusesWhatNoUserCanMean) {
    ProgramImage image;
    image.Add(0, Bytes{1}, {"a", ""});
    image.Add(0x2000'0000, Bytes{1}, {"b", ""});

    EXPECT_EQ(ErrorOf([&] { PrintRawBinary(image); }),
              "a binary file from 0x00000000 on would have 536870913 bytes, at most 67108864 are allowed: choose Intel "
              "HEX, which has gaps");
}

}  // namespace
}  // namespace flash::host
