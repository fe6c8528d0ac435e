// The host services over a fake probe, with the real flashloader's image: what each slot does, and how its failures
// reach the plug-in.
#include "host/services/PluginServices.h"

#include <gtest/gtest.h>

#include <functional>

#include "host/files/ElfFile.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "host/settings/OptionProperties.h"
#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/FieldTexts.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint32_t kSectorSize = 4096;
constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;
const std::filesystem::path kImage = std::filesystem::path(HOST_DATA_FOLDER) / "arm/lumod-flashloader.elf";

class Services : public testing::Test {
protected:
    void LoadFlashloader() {
        const std::string directory = std::string(services.GetDirectoryPath()) + "..\\..\\arm\\";
        ASSERT_STREQ(services.LoadProgram("lumod-flashloader.elf", "", directory.c_str()), nullptr);
        ASSERT_STREQ(services.LookUpSymbol("g_cfg", &blocks), nullptr);
        ASSERT_STREQ(services.LookUpSymbol("g_buf1", &buffers[0]), nullptr);
        ASSERT_STREQ(services.LookUpSymbol("g_buf2", &buffers[1]), nullptr);
        ASSERT_STREQ(services.RunTarget(), nullptr);
        probe.calls.clear();
    }

    void Post(std::uint32_t block, std::uint32_t command, std::uint32_t length = 0x1000) {
        const std::uint32_t words[] = {0x2000, length, command, 0, kNotDone};
        ASSERT_STREQ(services.WriteMemory(words, 20, blocks + block * 24, 1, 1), nullptr);
    }

    void Answer(std::uint32_t block, std::uint32_t status) {
        probe.StoreWord(static_cast<std::uint32_t>(blocks) + block * 24 + 16, status);
    }

    // As the plug-in reads it.
    std::uint32_t Poll(std::uint32_t block) {
        std::uint32_t status = 0;
        EXPECT_STREQ(services.ReadMemory(&status, 1, blocks + block * 24 + 16, 1, 4), nullptr);
        return status;
    }

    const char* Write(std::uint64_t address, std::size_t bytes) {
        const std::vector<std::uint8_t> zeros(bytes);
        return services.WriteMemory(zeros.data(), bytes, address, 1, 1);
    }

    FakeProbe probe;
    Settings settings = DefaultSettings();
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};
    PluginServices services{{probe, settings, HOST_DATA_FOLDER, kSectorSize}, observer, isInterrupted};
    std::uint64_t blocks = 0, buffers[2] = {};
};

TEST_F(Services, PropertiesAreTheSettingsAndAMissingOneIsNull) {
    settings.Set("Some", "thing");

    EXPECT_STREQ(services.GetProperty("Some"), "thing");
    EXPECT_EQ(services.GetProperty("None"), nullptr);
    EXPECT_EQ(services.SetProperty("New", "value"), nullptr);
    EXPECT_EQ(settings.Value("New"), "value");
}

TEST_F(Services, ATextThatIsNullIsAnEmptyOne) {
    settings.Set("", "nameless");
    settings.Set("Some", "thing");

    EXPECT_STREQ(services.GetProperty(nullptr), "nameless");
    EXPECT_EQ(services.SetProperty("Some", nullptr), nullptr);
    EXPECT_EQ(services.PrintMessage(nullptr), nullptr);

    EXPECT_EQ(settings.Value("Some"), "");
    EXPECT_EQ(services.Record().Messages(), Lines{""});
}

TEST_F(Services, TheDirectoryIsAbsoluteAndTwoFoldersBelowTheData) {
    PluginServices elsewhere({probe, settings, "some/data", kSectorSize}, observer, isInterrupted);

    std::string expected = std::filesystem::current_path().string() + "/some/data/host/bin/";
    std::replace(expected.begin(), expected.end(), '/', '\\');
    EXPECT_STREQ(elsewhere.GetDirectoryPath(), expected.c_str());
}

TEST_F(Services, TheImageIsWrittenToTheTargetWithItsSymbols) {
    LoadFlashloader();

    for (const DataRun& run : ReadProgramFile(kImage).Runs()) {
        for (std::size_t i = 0; i < run.bytes.size(); ++i) {
            ASSERT_EQ(probe.ByteAt(run.address + static_cast<std::uint32_t>(i)), run.bytes[i]);
        }
    }
    EXPECT_EQ(blocks, ReadElfSymbols(LoadFile(kImage), "").Find("g_cfg"));
    EXPECT_EQ(observer.stages.front().substr(0, 10), "start load");
    EXPECT_EQ(observer.stages.back().substr(0, 8), "end load");
}

TEST_F(Services, TheCoreIsResetBeforeTheFirstImageAndNeverAgain) {
    probe.canReset = true;
    std::vector<std::string> resetsAndWrites;
    probe.onCall = [&](const std::string& call) {
        if ((call == "reset" || call == "write") && (resetsAndWrites.empty() || resetsAndWrites.back() != call)) {
            resetsAndWrites.push_back(call);
        }
    };

    LoadFlashloader();
    services.TakeCoreOver();
    LoadFlashloader();

    EXPECT_EQ(resetsAndWrites, (Lines{"reset", "write"}));
}

TEST_F(Services, ACoreThatWasTakenOverForAnotherProgramIsNotResetForTheFlashloader) {
    probe.canReset = true;
    services.TakeCoreOver();
    probe.onCall = [](const std::string& call) { EXPECT_NE(call, "reset"); };

    LoadFlashloader();
}

TEST_F(Services, ACoreThatCannotBeResetIsHaltedAndThatIsToldToWhoWantsToKnowAll) {
    probe.canReset = true;
    probe.failingCall = "reset";
    for (const bool isVerbose : {false, true}) {
        settings.Set("FlashVerboseMode", isVerbose ? "1" : "0");
        PluginServices fresh({probe, settings, HOST_DATA_FOLDER, kSectorSize}, observer, isInterrupted);
        probe.calls.clear();

        fresh.TakeCoreOver();

        EXPECT_EQ(probe.calls, (Lines{"reset", "halt"}));
        EXPECT_EQ(observer.notes, isVerbose ? Lines{"The core is only halted, not reset, before it is used: reset "
                                                    "refused by the fake"}
                                            : Lines{});
    }
}

TEST_F(Services, AMissingImageAndAMissingSymbolAreErrors) {
    std::uint64_t value = 7;

    EXPECT_STREQ(services.LoadProgram("deeper\\no.elf", "", "\\nowhere\\above\\..\\"),
                 "/nowhere/deeper/no.elf: the file does not exist");
    EXPECT_STREQ(services.LookUpSymbol("g_cfg", &value), "The loaded image has no symbol \"g_cfg\"");
    EXPECT_EQ(value, 7u);
}

TEST_F(Services, EveryFailingProbeCallIsAnErrorText) {
    std::uint64_t value = 0;
    std::uint8_t byte = 0;
    struct Case {
        const char* call;
        std::function<const char*()> service;
    };
    const Case cases[] = {{"run", [&] { return services.RunTarget(); }},
                          {"halt", [&] { return services.HaltTarget(); }},
                          {"read", [&] { return services.ReadMemory(&byte, 1, 0, 1, 1); }},
                          {"write", [&] { return services.WriteMemory(&byte, 1, 0, 1, 1); }},
                          {"read register", [&] { return services.ReadRegister(1, &value); }},
                          {"write register 527", [&] { return services.WriteRegister(527, 0); }},
                          {"pause", [&] { return services.WaitMilliseconds(5); }},
                          {"route Sluice", [&] { return services.SelectCore("Sluice"); }}};
    for (const Case& c : cases) {
        probe.failingCall = c.call;
        EXPECT_STREQ(c.service(), (std::string(c.call) + " refused by the fake").c_str());
        probe.failingCall.clear();
        EXPECT_STREQ(c.service(), nullptr);
    }
}

TEST_F(Services, MemoryIsReachedInTheElementsThatThePluginAsksFor) {
    probe.StoreWord(0x2000'0000, 0x0403'0201);
    std::uint8_t bytes[8] = {};

    services.ReadMemory(bytes, 2, 0x2000'0000, 1, 4);
    services.WriteMemory(bytes, 3, 0xFFFF'FFFC, 1, 1);

    EXPECT_EQ(probe.reads, (std::vector<FakeProbe::Access>{{0x2000'0000, 8, 4}}));
    EXPECT_EQ(probe.writes, (std::vector<FakeProbe::Access>{{0xFFFF'FFFC, 3, 1}}));
    EXPECT_EQ(bytes[3], 4);
    EXPECT_EQ(probe.ByteAt(0xFFFF'FFFE), 3);
}

TEST_F(Services, AnAddressBeyond32BitsIsRefused) {
    std::uint8_t byte = 0;

    EXPECT_STREQ(services.ReadMemory(&byte, 1, 0x1'0000'0000, 1, 1),
                 "Address 0x100000000 is beyond the target's 32 bits");
    EXPECT_STREQ(services.WriteMemory(&byte, 1, 0x1'0000'0000, 1, 1),
                 "Address 0x100000000 is beyond the target's 32 bits");
    EXPECT_TRUE(probe.calls.empty());
    EXPECT_STREQ(services.ReadMemory(&byte, 1, 0xFFFF'FFFF, 1, 1), nullptr);
}

TEST_F(Services, RegistersAreThoseOfTheProbeButForTheThumbBitOfAProgramCounter) {
    std::uint64_t value = 0;

    services.WriteRegister(527, 0x2000'0101);
    EXPECT_EQ(probe.registerValue, 0x2000'0100u);
    services.WriteRegister(526, 0x2000'0101);
    EXPECT_EQ(probe.registerValue, 0x2000'0101u);
    services.ReadRegister(526, &value);
    EXPECT_EQ(value, 0x2000'0101u);
    EXPECT_EQ(probe.calls, (Lines{"write register 527", "write register 526", "read register"}));
}

TEST_F(Services, MessagesAreKeptAndErrorsAreComplaints) {
    services.PrintMessage("hello");
    services.ReportError("Something went wrong programming device");

    EXPECT_EQ(services.Record().Messages(), Lines{"hello"});
    EXPECT_EQ(Plain(services.Record().Complaints()), Lines{"Something went wrong programming device"});
    EXPECT_EQ(observer.messages, Lines{"hello"});
    EXPECT_EQ(observer.errors, Lines{"Something went wrong programming device"});
}

TEST_F(Services, APauseEndsAsSoonAsThePolledStatusChanges) {
    LoadFlashloader();
    Post(0, 3);
    ASSERT_EQ(Poll(0), kNotDone);
    probe.onPause = [this] { Answer(0, 0); };
    auto start = probe.now;

    services.WaitMilliseconds(5);

    EXPECT_LT(probe.now - start, std::chrono::milliseconds(1));
    EXPECT_EQ(Poll(0), 0u);
    start = probe.now;
    services.WaitMilliseconds(5);
    EXPECT_EQ(probe.now - start, std::chrono::milliseconds(5));
}

TEST_F(Services, HaltingWaitsForWhatIsPostedAndTellsWhatWasLeftUndone) {
    LoadFlashloader();
    Post(1, 4, 88);
    const auto start = probe.now;

    EXPECT_STREQ(services.HaltTarget(), nullptr);

    EXPECT_EQ(probe.now - start, std::chrono::milliseconds(2000));
    EXPECT_EQ(services.Record().Complaints().size(), 1u);
    EXPECT_FALSE(probe.isRunning);
    EXPECT_FALSE(services.IsFlashloaderRunning());
}

TEST_F(Services, ProgressFollowsTheMailbox) {
    LoadFlashloader();
    services.BeginOperation(Stage::Program, 0x2000);
    observer.stages.clear();

    Post(0, 1, 0);
    Answer(0, 0);
    Poll(0);
    Post(1, 0x13);
    Post(0, 0x13);
    Answer(1, 0);
    Poll(1);
    Answer(0, 0x106);
    Poll(0);
    services.EndOperation();

    EXPECT_EQ(observer.stages,
              (Lines{"start erase 0", "end erase 0", "start program 8192", "at program 4096", "end program 4096"}));
    EXPECT_EQ(services.Record().ProgrammedBytes(), 0x1000u);
    EXPECT_EQ(services.Record().CheckedBytes(), 0x1000u);
    EXPECT_TRUE(services.Record().SawVerificationFailure());
}

TEST_F(Services, AnInterruptionStopsBeforeAWholeSectorOfDataOnly) {
    LoadFlashloader();
    services.BeginOperation(Stage::Program, 0x1000);
    isInterrupted = true;

    for (const std::size_t bytes : {std::size_t{88}, kSectorSize - std::size_t{1}, kSectorSize + std::size_t{1}}) {
        EXPECT_STREQ(Write(buffers[0], bytes), nullptr) << bytes;
    }
    EXPECT_STREQ(Write(buffers[0] + 4, kSectorSize), nullptr);
    Post(0, 4, 88);
    EXPECT_FALSE(services.Record().wasInterrupted);

    for (const std::uint64_t buffer : buffers) {
        services.BeginOperation(Stage::Program, 0x1000);
        probe.calls.clear();
        EXPECT_STREQ(Write(buffer, kSectorSize), "Interrupted by the user");
        EXPECT_TRUE(services.Record().wasInterrupted);
        EXPECT_EQ(probe.calls, Lines{});
    }
}

TEST_F(Services, AnInterruptionDoesNotStopWhatClosesALoadOrGoesElsewhere) {
    isInterrupted = true;
    EXPECT_STREQ(Write(0x2000'0000, kSectorSize), nullptr) << "there is no buffer yet";
    LoadFlashloader();

    services.BeginOperation(Stage::Close, kSectorSize);

    EXPECT_STREQ(Write(buffers[0], kSectorSize), nullptr);
    EXPECT_FALSE(services.Record().wasInterrupted);
}

TEST_F(Services, WithoutAnInterruptionASectorOfDataPasses) {
    LoadFlashloader();
    services.BeginOperation(Stage::Program, 0x1000);

    EXPECT_STREQ(Write(buffers[0], kSectorSize), nullptr);
}

TEST_F(Services, TheMailboxIsExplainedOnlyWhenThereIsOne) {
    EXPECT_FALSE(services.ExplainMailbox().has_value());

    LoadFlashloader();
    Answer(0, 0);
    Answer(1, 0);

    EXPECT_EQ(services.ExplainMailbox()->text.Plain(), "The flashloader has answered every command with success");
}

}  // namespace
}  // namespace flash::host
