// Cutting a request at the permitted pages and into pieces for the fill value.
#include "flashdevice/programming/RequestPieces.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace flash::test {
namespace {

TEST(PartInRange, FollowsTheFiveCases) {
    struct Case {
        const char* name;
        std::uint32_t address, length;
        AddressRange range;
        RequestPart part;
    };
    const RequestPart kNone{false, false, 0, 0};
    // Most rows: bytes 0x1800 to 0x27FF.
    const Case cases[] = {
        {"around the request", 0x1800, 0x1000, {0x1000, 0x2FFF}, {true, true, 0, 0x1000}},
        {"exactly the request", 0x1800, 0x1000, {0x1800, 0x27FF}, {true, true, 0, 0x1000}},
        {"from its start and beyond", 0x1800, 0x1000, {0x1800, 0x2800}, {true, true, 0, 0x1000}},
        {"all of the address space", 0x1800, 0x1000, {0, 0xFFFF'FFFF}, {true, true, 0, 0x1000}},

        {"ends inside: the last byte is left out", 0x1800, 0x1000, {0, 0x1FFF}, {true, false, 0, 0x7FF}},
        {"ends at the second byte", 0x1800, 0x1000, {0, 0x1801}, {true, false, 0, 1}},
        {"ends at the first byte", 0x1800, 0x1000, {0, 0x1800}, kNone},
        {"ends before the last byte", 0x1800, 0x1000, {0x17FF, 0x27FE}, {true, false, 0, 0xFFE}},

        {"inside", 0x1800, 0x1000, {0x2000, 0x23FF}, {true, false, 0x800, 0x400}},
        {"from the start", 0x1800, 0x1000, {0x1800, 0x1FFF}, {true, false, 0, 0x800}},
        {"the first byte", 0x1800, 0x1000, {0x1800, 0x1800}, {true, false, 0, 1}},
        {"to the end", 0x1800, 0x1000, {0x2000, 0x27FF}, {true, false, 0x800, 0x800}},
        {"one byte beyond the end", 0x1800, 0x1000, {0x2000, 0x2800}, {true, false, 0x800, 0x801}},
        {"only the byte behind the end", 0x1800, 0x1000, {0x2800, 0x2800}, {true, false, 0x1000, 1}},

        {"starts inside and goes on", 0x1800, 0x1000, {0x2000, 0x2FFF}, {true, false, 0x800, 0x800}},
        {"starts two bytes before the end", 0x1800, 0x1000, {0x27FE, 0x2FFF}, {true, false, 0xFFE, 2}},
        {"starts at the last byte and goes on", 0x1800, 0x1000, {0x27FF, 0x2FFF}, kNone},

        {"before", 0x1800, 0x1000, {0, 0x17FF}, kNone},
        {"behind", 0x1800, 0x1000, {0x2800, 0x2FFF}, kNone},

        {"runs backwards out of the request", 0x1800, 0x1000, {0x2000, 0x17FF}, kNone},

        {"an empty request in the range", 0x1800, 0, {0x1000, 0x1FFF}, {true, true, 0, 0}},
        {"an empty request behind the range", 0x2000, 0, {0x1000, 0x1FFF}, {true, true, 0, 0}},
        {"an empty request before the range", 0x0800, 0, {0x1000, 0x1FFF}, kNone},
        {"an empty request at 0 ends at the highest byte", 0, 0, {0, 0x1FFF}, kNone},
        {"one byte in the range", 0x1800, 1, {0x1000, 0x1FFF}, {true, true, 0, 1}},
        {"two bytes over the range's end", 0x1FFF, 2, {0x1000, 0x1FFF}, kNone},
        {"three bytes over the range's end", 0x1FFE, 3, {0x1000, 0x1FFF}, {true, false, 0, 1}},
    };
    for (const Case& each : cases) {
        const RequestPart part = PartInRange(each.address, each.length, each.range);
        EXPECT_EQ(part.meets, each.part.meets) << each.name;
        EXPECT_EQ(part.isWhole, each.part.isWhole) << each.name;
        EXPECT_EQ(part.offset, each.part.offset) << each.name;
        EXPECT_EQ(part.length, each.part.length) << each.name;
    }
}

TEST(FillPieceLength, IsTheRemainderOrASector) {
    struct Case {
        const char* name;
        std::uint32_t address, remaining, length;
    };
    const Case cases[] = {
        {"16 bytes into a sector", 0x10, 1000, 16},
        {"then 32", 0x20, 984, 32},
        {"the rest is shorter", 0x20, 5, 5},
        {"the rest is as long", 0x20, 32, 32},
        {"the last byte of a sector", 0x1FFF, 8000, 0xFFF},
        {"the first byte behind a start", 0x1001, 8000, 1},
        {"a whole sector", 0x1000, 5000, 4096},
        {"exactly a sector", 0x1000, 4096, 4096},
        {"less than a sector", 0x1000, 4095, 4095},
        {"one byte", 0, 1, 1},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(FillPieceLength(each.address, each.remaining, 4096), each.length) << each.name;
    }
}

TEST(FillPieceLength, GrowsUntilTheSectorsStart) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pieces;
    std::uint32_t address = 0x1800;
    for (std::uint32_t remaining = 0x4000; remaining != 0;) {
        const std::uint32_t length = FillPieceLength(address, remaining, 0x2000);
        pieces.emplace_back(address, length);
        address += length;
        remaining -= length;
    }
    // 0x1800 is followed by 0x3000, which is 0x1000 into the next sector of 8192 bytes.
    EXPECT_EQ(pieces, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{
                          {0x1800, 0x1800}, {0x3000, 0x1000}, {0x4000, 0x1800}}));
}

}  // namespace
}  // namespace flash::test
