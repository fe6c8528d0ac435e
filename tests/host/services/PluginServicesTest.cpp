// The host services over a fake probe, with the real flashloader image for its symbols: the contract of each slot, and
// what a careful host adds.
#include "host/services/PluginServices.h"

#include <gtest/gtest.h>

#include <functional>

#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "host/settings/OptionProperties.h"
#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kSectorSize = 4096;
constexpr std::uint32_t kNotDone = 0xFFFFFFFF;

class Services : public testing::Test {
protected:
    void LoadFlashloader() {
        const std::string directory = std::string(services.GetDirectoryPath()) + "..\\..\\arm\\";
        ASSERT_STREQ(services.LoadProgram("lumod-flashloader.elf", "", directory.c_str()), nullptr);
        ASSERT_STREQ(services.LookUpSymbol("g_cfg", &blocks), nullptr);
        ASSERT_STREQ(services.LookUpSymbol("g_buf1", &buffer), nullptr);
        ASSERT_STREQ(services.RunTarget(), nullptr);
        probe.calls.clear();
    }

    void Post(std::uint32_t index, std::uint32_t command, std::uint32_t length = 0x1000) {
        const std::uint32_t words[] = {0x2000, length, command, 0, kNotDone};
        ASSERT_STREQ(services.WriteMemory(words, 20, blocks + index * 24, 1, 1), nullptr);
    }

    std::uint32_t PollStatus(std::uint32_t index) {
        std::uint32_t status = 0;
        EXPECT_STREQ(services.ReadMemory(&status, 1, blocks + index * 24 + 16, 1, 4), nullptr);
        return status;
    }

    void Answer(std::uint32_t index, std::uint32_t status) {
        probe.StoreWord(static_cast<std::uint32_t>(blocks) + index * 24 + 16, status);
    }

    FakeProbe probe;
    Settings settings = DefaultSettings();
    RecordingObserver observer;
    std::atomic<bool> isInterrupted{false};
    PluginServices services{probe, settings, observer, HOST_DATA_FOLDER, kSectorSize, isInterrupted};
    std::uint64_t blocks = 0, buffer = 0;
};

TEST_F(Services, PropertiesAreTheSettingsAndAMissingOneIsNull) {
    settings.Set("Some", "thing");

    EXPECT_STREQ(services.GetProperty("Some"), "thing");
    EXPECT_EQ(services.GetProperty("None"), nullptr);
    EXPECT_EQ(services.SetProperty("New", "value"), nullptr);
    EXPECT_EQ(settings.Value("New"), "value");
}

TEST_F(Services, TheDirectoryEndsInABackslashAndLeadsToTheImages) {
    EXPECT_EQ(std::string(services.GetDirectoryPath()).back(), '\\');

    LoadFlashloader();

    EXPECT_EQ(observer.stages.front().substr(0, 10), "start load");
    EXPECT_EQ(observer.stages.back().substr(0, 8), "end load");
    const SymbolTable symbols =
        ReadElfSymbols(LoadFile(std::filesystem::path(HOST_DATA_FOLDER) / "arm/lumod-flashloader.elf"), "x");
    EXPECT_EQ(blocks, symbols.Find("g_cfg"));
}

TEST_F(Services, TheImageIsWrittenToTheTarget) {
    LoadFlashloader();

    const ProgramImage image = ReadProgramFile(std::filesystem::path(HOST_DATA_FOLDER) / "arm/lumod-flashloader.elf");
    for (const DataRun& run : image.Runs()) {
        for (std::size_t i = 0; i < run.bytes.size(); ++i) {
            ASSERT_EQ(probe.ByteAt(run.address + static_cast<std::uint32_t>(i)), run.bytes[i]);
        }
    }
}

TEST_F(Services, AMissingImageAndAMissingSymbolAreErrors) {
    std::uint64_t value = 7;

    EXPECT_NE(std::string(services.LoadProgram("no.elf", "", "\\nowhere\\")).find("/nowhere/no.elf"),
              std::string::npos);
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
        EXPECT_EQ(std::string(c.service()), std::string(c.call) + " refused by the fake");
    }
}

TEST_F(Services, AnAddressBeyond32BitsIsRefused) {
    std::uint8_t byte = 0;

    EXPECT_NE(services.ReadMemory(&byte, 1, 0x100000000, 1, 1), nullptr);
    EXPECT_NE(services.WriteMemory(&byte, 1, 0x100000000, 1, 1), nullptr);
    EXPECT_TRUE(probe.calls.empty());
}

TEST_F(Services, TheProgramCounterIsWrittenWithoutTheThumbBit) {
    services.WriteRegister(527, 0x20000101);

    EXPECT_EQ(probe.registerValue, 0x20000100u);
}

TEST_F(Services, MessagesAreKeptAndErrorsAreCounted) {
    services.PrintMessage("hello");
    services.ReportError("Something went wrong programming device");

    EXPECT_EQ(services.Messages(), std::vector<std::string>{"hello"});
    EXPECT_EQ(services.Complaints(), std::vector<std::string>{"Something went wrong programming device"});
    EXPECT_EQ(observer.errors, services.Complaints());

    services.BeginOperation(Stage::Program, 0);
    EXPECT_TRUE(services.Complaints().empty());
}

TEST_F(Services, APauseEndsAsSoonAsThePolledStatusChanges) {
    LoadFlashloader();
    Post(0, 3);
    ASSERT_EQ(PollStatus(0), kNotDone);
    probe.onPause = [this] { Answer(0, 0); };
    const auto start = probe.now;

    services.WaitMilliseconds(5);

    EXPECT_LT(probe.now - start, std::chrono::milliseconds(1));
    EXPECT_EQ(PollStatus(0), 0u);
}

TEST_F(Services, APauseLastsItsTimeWhenNothingChangesAndWhenNothingIsPolled) {
    LoadFlashloader();
    auto start = probe.now;
    services.WaitMilliseconds(5);
    EXPECT_EQ(probe.now - start, std::chrono::milliseconds(5));

    Post(0, 3);
    PollStatus(0);
    start = probe.now;
    services.WaitMilliseconds(5);
    EXPECT_EQ(probe.now - start, std::chrono::milliseconds(5));
}

TEST_F(Services, HaltingWaitsForWhatIsPosted) {
    LoadFlashloader();
    Post(1, 4, 88);
    int pauses = 0;
    probe.onPause = [&] {
        if (++pauses == 20) {
            Answer(1, 0);
        }
    };

    ASSERT_STREQ(services.HaltTarget(), nullptr);

    EXPECT_EQ(pauses, 20);
    EXPECT_EQ(probe.calls.back(), "halt");
    EXPECT_TRUE(services.Complaints().empty());
}

TEST_F(Services, HaltingIsBoundedAndTellsThatSomethingWasLeftUndone) {
    LoadFlashloader();
    Post(1, 4, 88);
    const auto start = probe.now;

    ASSERT_STREQ(services.HaltTarget(), nullptr);

    EXPECT_EQ(probe.now - start, std::chrono::milliseconds(2000));
    ASSERT_EQ(services.Complaints().size(), 1u);
    EXPECT_NE(services.Complaints()[0].find("not waited for by the plug-in: command 4"), std::string::npos);
    EXPECT_FALSE(probe.isRunning);
}

TEST_F(Services, HaltingDoesNotWaitAgainForWhatThePluginHasWaitedFor) {
    LoadFlashloader();
    Post(0, 3);
    for (int i = 0; i < 400; ++i) {
        PollStatus(0);
        services.WaitMilliseconds(5);
    }
    const auto start = probe.now;

    services.HaltTarget();

    EXPECT_EQ(probe.now, start);
}

TEST_F(Services, AFailureThatNobodyWaitedForIsAComplaint) {
    LoadFlashloader();
    Post(0, 5, 0xFFF);
    Answer(0, 0x02040102);

    services.HaltTarget();

    ASSERT_EQ(services.Complaints().size(), 1u);
    EXPECT_NE(services.Complaints()[0].find("erasing sector 2 failed"), std::string::npos);
}

TEST_F(Services, ABlankCheckThatFindsSomethingIsNoComplaint) {
    LoadFlashloader();
    Post(0, 6);
    Answer(0, 0x106);

    services.HaltTarget();

    EXPECT_TRUE(services.Complaints().empty());
}

TEST_F(Services, HaltingStopsTheCoreEvenWhenTheMailboxCannotBeRead) {
    LoadFlashloader();
    Post(0, 3);
    probe.failingCall = "read";

    EXPECT_STREQ(services.HaltTarget(), nullptr);

    EXPECT_FALSE(probe.isRunning);
    EXPECT_EQ(services.Complaints().size(), 1u);
}

TEST_F(Services, ProgressFollowsTheMailbox) {
    LoadFlashloader();
    services.BeginOperation(Stage::Program, 0x2000);
    observer.stages.clear();

    Post(0, 1, 0);
    Answer(0, 0);
    PollStatus(0);
    Post(1, 0x13);
    Post(0, 0x13);
    Answer(1, 0);
    PollStatus(1);
    Answer(0, 0x106);
    PollStatus(0);
    services.EndOperation();

    EXPECT_EQ(observer.stages, (std::vector<std::string>{"start erase 0", "end erase 0", "start program 8192",
                                                         "at program 4096", "end program 4096"}));
    EXPECT_EQ(services.ProgrammedBytes(), 0x1000u);
    EXPECT_EQ(services.CheckedBytes(), 0x1000u);
    EXPECT_TRUE(services.SawVerificationFailure());
}

TEST_F(Services, AnInterruptionStopsBeforeAWholeSectorOfDataOnly) {
    LoadFlashloader();
    services.BeginOperation(Stage::Program, 0x1000);
    isInterrupted = true;
    const std::vector<std::uint8_t> sector(kSectorSize);

    EXPECT_STREQ(services.WriteMemory(sector.data(), 88, buffer, 1, 1), nullptr);
    Post(0, 4, 88);
    EXPECT_FALSE(services.WasInterrupted());
    EXPECT_STREQ(services.WriteMemory(sector.data(), sector.size(), buffer, 1, 1), "Interrupted by the user");
    EXPECT_TRUE(services.WasInterrupted());

    services.BeginOperation(Stage::Close, kSectorSize);
    EXPECT_STREQ(services.WriteMemory(sector.data(), sector.size(), buffer, 1, 1), nullptr);
}

TEST_F(Services, TheMailboxIsExplainedOnlyWhenThereIsOne) {
    EXPECT_FALSE(services.ExplainMailbox().has_value());

    LoadFlashloader();
    Post(0, 3);
    Answer(0, 0x104);

    EXPECT_NE(services.ExplainMailbox()->text.find("refused the arguments"), std::string::npos);
}

}  // namespace
}  // namespace flash::host
