// Writes without erasing over a flash of four sectors of 16 bytes, in which the chip holds 0x0F in every byte of
// sectors 1 and 2, and nothing in the others.
#include "host/plan/Garbling.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/Failure.h"

namespace flash::host {
namespace {

constexpr FlashGeometry kSmallFlash{16, 4};

std::vector<std::uint8_t> ReadFake(std::uint32_t address, std::uint32_t length) {
    const std::uint32_t sector = address / 16;
    return std::vector<std::uint8_t>(length, sector == 1 || sector == 2 ? 0x0F : 0xFF);
}

PlanRequest Request(EraseChoice erase) {
    return {kSmallFlash, erase, SectorSet(4), SectorSet(4), std::nullopt, std::nullopt};
}

std::string Refusal(const PlanRequest& request, const std::vector<DataRun>& data) {
    const WritePlan plan = MakeWritePlan(data, request, ReadFake);
    try {
        RefuseGarbling(plan, request.keptCcfgAddress, ReadFake);
        return "";
    } catch (const BadInput& refusal) {
        return refusal.what();
    }
}

DataRun Data(std::uint32_t address, std::vector<std::uint8_t> bytes) { return {address, std::move(bytes)}; }

TEST(Garbling, BitsThatAreOnlyClearedAreProgrammed) {
    EXPECT_EQ(Refusal(Request(EraseChoice::None), {Data(0, {1, 2, 3}), Data(18, {0x0E, 0x00, 0x0F})}), "");
}

TEST(Garbling, TheFirstWordThatNeedsAnErasingIsToldAndHowManyMore) {
    EXPECT_EQ(Refusal(Request(EraseChoice::None), {Data(21, {0x1F})}),
              "\"erase\": the word at 0x00000014 is 0x0F0F0F0F and cannot become 0x0F0F1F0F without being erased");
    EXPECT_EQ(Refusal(Request(EraseChoice::None), {Data(22, {0x10, 0x0F, 0xFF}), Data(47, {0xF0})}),
              "\"erase\": the word at 0x00000014 is 0x0F0F0F0F and cannot become 0x0F100F0F without being erased; "
              "neither can 2 more");
}

TEST(Garbling, SectorsThatAreErasedTakeEverything) {
    const std::vector<DataRun> data{Data(16, {0xF0})};
    PlanRequest listed = Request(EraseChoice::Listed);
    listed.erasedSectors.Add(1);

    EXPECT_EQ(Refusal(listed, data), "");
    for (const EraseChoice erase : {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All}) {
        EXPECT_EQ(Refusal(Request(erase), data), "") << static_cast<int>(erase);
    }
}

TEST(Garbling, OfAListTheSectorsThatAreNotErasedTakeNotEverything) {
    PlanRequest listed = Request(EraseChoice::Listed);
    listed.erasedSectors.Add(1);

    EXPECT_NE(Refusal(listed, {Data(32, {0xF0})}), "");
}

TEST(Garbling, WhereCcfgIsPutBackNothingIsGarbled) {
    PlanRequest request{{16, 3}, EraseChoice::None, SectorSet(3), SectorSet(3), std::nullopt, std::uint32_t{40}};

    EXPECT_EQ(Refusal(request, {Data(40, {0xF0})}), "");
    EXPECT_NE(Refusal(request, {Data(39, {0xF0})}), "");
}

}  // namespace
}  // namespace flash::host
