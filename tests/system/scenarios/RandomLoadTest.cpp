// Random program loads against the model: the commands that reach the flashloader, with their data, and every message.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/system/scenarios/LoadModel.h"
#include "tests/system/scenarios/RunSettings.h"

namespace flash::test {
namespace {

constexpr std::size_t kUsualRounds = 1500;

class RandomLoad {
public:
    explicit RandomLoad(std::uint32_t seed)
        : random(seed), chip(Coin() ? kLumoD : kLumoF, Below(10) + 2), geometry(chip.geometry) {
        ChooseSettings();
        SetUpChip();
        for (std::uint32_t writes = Below(5) + 1; writes != 0; --writes) {
            segments.push_back(ChooseSegment());
        }
    }

    void CompareWithModel() {
        LoadModel model(geometry, settings, chip.Flash());
        model.Start();
        EXPECT_EQ(chip.Notify(1), "");
        for (const Segment& segment : segments) {
            model.Write(segment);
            EXPECT_EQ(chip.Write(segment), "");
        }
        chip.host.HaltTarget();  // lets the flashloader finish what is posted
        const std::vector<PostedCommand>& posted = chip.host.flashloader.commands;
        EXPECT_EQ(TextsOf(posted), TextsOf(model.commands));
        for (std::size_t i = 0; i < std::min(posted.size(), model.commands.size()); ++i) {
            EXPECT_TRUE(posted[i].data == model.commands[i].data) << "data of command " << i;
        }
        EXPECT_EQ(chip.host.messages, model.messages);
        commands += posted.size();
    }

    std::string Describe() const {
        std::string text = std::string(chip.model.deviceName) + ", " + std::to_string(geometry.sectorCount) +
                           " sectors, erase '" + settings.erasingText + "' of " + settings.erasedSectorsText;
        text += settings.isSkippingSectors ? ", skip " + settings.skippedSectorsText : "";
        text += settings.isSkippingFill ? ", fill " + settings.fillText : "";
        text += settings.isKeepingCcfg ? ", keep CCFG of " + std::to_string(ccfgSize) : "";
        text += settings.isVerifying ? ", CRC" : "";
        text += settings.isVerbose ? ", verbose" : "";
        for (const Segment& segment : segments) {
            text += "\n  " + std::to_string(segment.data.size()) + " bytes at " + std::to_string(segment.address);
        }
        return text;
    }

    static inline std::size_t commands = 0;  // of all loads

private:
    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); }
    bool Coin() { return Below(2) == 0; }
    template <typename Choices>
    auto OneOf(const Choices& choices) {
        return *(std::begin(choices) + Below(static_cast<std::uint32_t>(std::size(choices))));
    }

    void ChooseSettings();
    std::set<std::uint32_t> ChooseSectors();
    std::string WriteSectors(const std::set<std::uint32_t>& sectors);
    void SetUpChip();
    Segment ChooseSegment();
    std::uint32_t ChooseEdge();
    Bytes ChooseData(std::size_t length);

    std::mt19937 random;
    ConnectedChip chip;
    FlashGeometry geometry;
    LoadSettings settings;
    std::uint32_t ccfgSize = 0;
    std::vector<Segment> segments;
};

void RandomLoad::ChooseSettings() {
    const std::pair<Erasing, const char*> erasing[] = {
        {Erasing::Necessary, kNecessary}, {Erasing::Necessary, ""},
        {Erasing::Retaining, kRetain},    {Erasing::Nothing, kNoErase},
        {Erasing::Bank, kBank},           {Erasing::Bank, "Erase: All Unprotected Sectors, Specific Sectors"},
        {Erasing::Listed, kSpecific},
    };
    std::tie(settings.erasing, settings.erasingText) = OneOf(erasing);
    settings.erasedSectors = ChooseSectors();
    settings.erasedSectorsText = WriteSectors(settings.erasedSectors);
    settings.isSkippingSectors = Below(3) == 0;
    settings.skippedSectors = ChooseSectors();
    settings.skippedSectorsText = WriteSectors(settings.skippedSectors);
    settings.isSkippingFill = Below(3) == 0;
    const std::pair<std::uint8_t, const char*> fills[] = {{0, "0"},       {1, "1"},       {0xFF, "0xFF"},
                                                          {0xA5, "0Xa5"}, {0x05, "0x05"}, {1, "0001"}};
    std::tie(settings.fillValue, settings.fillText) = OneOf(fills);
    settings.isKeepingCcfg = Coin();
    settings.isVerifying = Below(3) == 0;
    settings.isVerbose = Coin();
    const std::uint32_t sizes[] = {
        88, 88, 0, 1, geometry.sectorSize, geometry.sectorSize + 1, 0xFFFF, Below(geometry.sectorSize) + 1};
    ccfgSize = OneOf(sizes);
}

std::set<std::uint32_t> RandomLoad::ChooseSectors() {
    std::set<std::uint32_t> sectors;
    const std::uint32_t density = Below(5);  // 0: none, 4: all
    for (std::uint32_t sector = 0; sector < geometry.sectorCount; ++sector) {
        if (Below(4) < density) {
            sectors.insert(sector);
        }
    }
    return sectors;
}

// Single sectors and ranges, in any order, some named twice, with white space anywhere.
std::string RandomLoad::WriteSectors(const std::set<std::uint32_t>& sectors) {
    std::vector<std::string> items;
    for (const std::uint32_t sector : sectors) {
        std::uint32_t last = sector;
        while (sectors.contains(last + 1) && Coin()) {
            ++last;
        }
        items.push_back(std::to_string(sector) + (last != sector || Coin() ? " -" + std::to_string(last) : ""));
    }
    std::shuffle(items.begin(), items.end(), random);
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? "" : ",") + std::string(Coin() ? "\t " : "") + item;
    }
    return text + (!text.empty() && Coin() ? "," : "");
}

void RandomLoad::SetUpChip() {
    const auto text = [](bool isOn) { return isOn ? "1" : "0"; };
    chip.Property("FlashEraseSetting") = settings.erasingText;
    chip.Property("ProgramLoadEraseSpecificText") = settings.erasedSectorsText;
    chip.Property("FlashPageToggle") = text(settings.isSkippingSectors);
    chip.Property("FlashPages") = settings.skippedSectorsText;
    chip.Property("FlashPagesFilledWith") = text(settings.isSkippingFill);
    chip.Property("FlashPagesFilledWithValue") = settings.fillText;
    chip.Property("KeepCcfgSetting") = text(settings.isKeepingCcfg);
    chip.Property("CrcVerify") = text(settings.isVerifying);
    chip.Property("FlashVerboseMode") = text(settings.isVerbose);
    ChipMemory& memory = chip.host.memory;
    memory.SetBytes(geometry.LastSector(), Pattern(geometry.sectorSize, 9));
    memory.SetWord(geometry.Size() - kCcfgSizeWordFromEnd, ccfgSize << 16);
    // Every command succeeds and none touches the flash, so that requests may lie anywhere.
    chip.host.flashloader.AnswerAll(AnswerWithStatus(0));
    EXPECT_EQ(chip.Initialize(), "");
    chip.host.ForgetCalls();
}

// Near the edges of sectors, of CCFG, of flash and of the address space.
std::uint32_t RandomLoad::ChooseEdge() {
    const std::uint32_t end = geometry.Size();
    const std::uint32_t edges[] = {Below(geometry.sectorCount + 2) * geometry.sectorSize,
                                   Below(geometry.sectorCount + 2) * geometry.sectorSize,
                                   end - ccfgSize,
                                   end,
                                   Below(end),
                                   Below(40) == 0 ? 0U - Below(0x3000) : end};
    return OneOf(edges) + Below(5) - 2;
}

Segment RandomLoad::ChooseSegment() {
    const std::uint32_t mostBytes = 4 * geometry.sectorSize;
    std::uint32_t address = ChooseEdge();
    std::uint32_t length = ChooseEdge() - address;
    if (length > mostBytes) {
        const std::uint32_t lengths[] = {Below(mostBytes), geometry.sectorSize, Below(200), 1, 0};
        length = OneOf(lengths);
    }
    return {address, ChooseData(length)};
}

// Stretches of the fill value, some spoilt by one byte, and of other data.
Bytes RandomLoad::ChooseData(std::size_t length) {
    Bytes data;
    while (data.size() < length) {
        const std::uint32_t stretches[] = {geometry.sectorSize, geometry.sectorSize, Below(geometry.sectorSize) + 1,
                                           16};
        Bytes stretch(OneOf(stretches), settings.fillValue);
        if (Coin()) {
            stretch = Pattern(stretch.size(), static_cast<std::uint8_t>(Below(256)));
        } else if (Below(4) == 0) {
            stretch.back() ^= 1;
        }
        data.insert(data.end(), stretch.begin(), stretch.end());
    }
    data.resize(length);
    return data;
}

TEST(RandomLoads, PostTheCommandsAndPrintTheMessagesOfTheModel) {
    const std::size_t rounds = Rounds(kUsualRounds);
    RandomLoad::commands = 0;
    for (std::size_t round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        RandomLoad load(SeedOfRun() + static_cast<std::uint32_t>(round));
        SCOPED_TRACE(testing::Message() << "round " << round << " of seed " << SeedOfRun() << ": " << load.Describe());
        load.CompareWithModel();
    }
    EXPECT_GT(RandomLoad::commands, rounds) << "the loads must do something";
    std::printf("random loads: %zu loads, %zu commands compared\n", rounds, RandomLoad::commands);
}

}  // namespace
}  // namespace flash::test
