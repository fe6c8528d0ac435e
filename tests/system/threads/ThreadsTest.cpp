// Eight devices of one module at a time, each in a thread with a host of its own: what a device does and says is to the
// letter what it does and says alone.
#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "validator/Check.h"

namespace flash::validator {
namespace {

constexpr std::size_t kDevices = 8;
constexpr int kRounds = 5;

struct Work {
    ChipModel model;
    const char* eraseSetting;
    const char* option;
    std::uint32_t address;
    std::size_t length;
};

constexpr std::array<Work, kDevices> kWorks = {{
    {kFirstGeneration, "Necessary Sectors Only", "CrcVerify", 0, 0x5000},
    {kSecondGeneration, "Necessary Sectors Only", "KeepCcfgSetting", 0x5'4000, 0x4000},
    {kFirstGeneration, "All Unprotected Sectors", "FlashVerboseMode", 0x1000, 0x4321},
    {kSecondGeneration, "Do not erase sectors (program load only)", "DisableCpuDap", 0x10, 0x6000},
    {kFirstGeneration, "Specific Sectors", "RetainIeeeSecondaryAddr", 0x1'F000, 0x1000},
    {kSecondGeneration, "Necessary Sectors Only (Retain untouched content within sector)", "CrcVerify", 5, 0x9000},
    {kFirstGeneration, "Necessary Sectors Only", "FlashPageToggle", 0x800, 0x7000},
    {kSecondGeneration, "Necessary Sectors Only", "FlashPagesFilledWith", 0x2000, 0x8000},
}};

void Note(std::string& transcript, const char* error) {
    transcript += error == nullptr ? "ok\n" : Quoted(error) + "\n";
}

// Called between two operations.
using Pace = std::function<void()>;

void DoRound(NewDevice& made, const Work& work, const Pace& pace, std::string& transcript) {
    Note(transcript, made.device.NotifyPhase(1));
    pace();
    Note(transcript, made.device.Write(Pattern(work.length), work.address));
    pace();
    Note(transcript, made.device.NotifyPhase(2));
    for (const char* name : {"ReadSecIeee", "BlankCheck", "no such operation", "EraseSectors"}) {
        pace();
        Note(transcript, made.device.Execute(name));
    }
}

struct Record {
    std::string transcript;  // everything that a device does and says, with the flash that it leaves behind
    std::size_t commands;    // that it posts
};

Record RecordOf(const ModuleUnderCheck& module, const Work& work, const Pace& pace) {
    NewDevice made(module, work.model);
    made.host.properties["FlashEraseSetting"] = work.eraseSetting;
    made.host.properties["ProgramLoadEraseSpecificText"] = "1,3-4";
    made.host.properties["StandaloneEraseSpecificText"] = "2-3,7";
    made.host.properties["FlashPages"] = "2,5";
    made.host.properties["FlashPagesFilledWithValue"] = "0x00";
    made.host.properties[work.option] = "1";
    made.host.flashloader.AnswerAll(AnswerAfterPolls(2));
    std::string transcript;
    made.device.Initialize();
    for (int round = 0; round < kRounds; ++round) {
        pace();
        DoRound(made, work, pace, transcript);
    }
    for (const HostCall& call : made.host.calls) {
        transcript += call.ToText() + "\n";
    }
    transcript.append(made.host.memory.flash.begin(), made.host.memory.flash.end());
    return {std::move(transcript), made.host.flashloader.commands.size()};
}

TEST(EightDevicesInEightThreads, DoWhatTheyDoAlone) {
    const ModuleUnderCheck module(MODULE_PATH);
    std::array<Record, kDevices> alone;
    for (std::size_t i = 0; i < kDevices; ++i) {
        alone[i] = RecordOf(module, kWorks[i], [] {});
    }

    std::array<Record, kDevices> together;
    // All do their next operation at the same time: the more of their work meets.
    std::barrier next(kDevices);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kDevices; ++i) {
        threads.emplace_back([&, i] { together[i] = RecordOf(module, kWorks[i], [&] { next.arrive_and_wait(); }); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::size_t bytes = 0;
    for (std::size_t i = 0; i < kDevices; ++i) {
        EXPECT_TRUE(alone[i].transcript == together[i].transcript) << "device " << i;
        EXPECT_GE(alone[i].commands, 4U * kRounds) << "each round writes, checks and erases two ranges";
        bytes += together[i].transcript.size();
    }
    std::printf("%zu devices, %d rounds each, %zu bytes of transcript\n", kDevices, kRounds, bytes);
}

}  // namespace
}  // namespace flash::validator
