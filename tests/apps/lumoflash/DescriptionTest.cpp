// The command line tells of itself: nothing in it is without help, and what shells and manual are told is true.
#include "apps/lumoflash/Description.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "apps/lumoflash/CommandLine.h"
#include "apps/lumoflash/Completion.h"
#include "apps/lumoflash/ManPages.h"

namespace flash::app {
namespace {

std::vector<const CommandText*> AllOf(const CommandText& command) {
    std::vector<const CommandText*> all{&command};
    for (const CommandText& each : command.commands) {
        const std::vector<const CommandText*> below = AllOf(each);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

std::vector<std::string> Offered(const std::vector<std::string>& words) {
    host::DeviceDescription part{};
    part.name = "LumoX1";
    part.sectorCount = 12;
    std::vector<std::string> texts;
    for (const Candidate& each : Complete(DescribeCommandLine(), words, {part}).candidates) {
        texts.push_back(each.text);
    }
    return texts;
}

TEST(CommandLine, EveryCommandAndEveryOptionHasHelp) {
    const CommandText program = DescribeCommandLine();

    for (const CommandText* command : AllOf(program)) {
        EXPECT_NE(command->help, "") << command->name;
        for (const OptionText& option : command->options) {
            EXPECT_NE(option.help, "") << command->name << " " << option.names.front();
        }
    }
}

TEST(CommandLine, EveryCommandHasAnExample) {
    const CommandText program = DescribeCommandLine();

    for (const CommandText* command : AllOf(program)) {
        EXPECT_TRUE(command->example.starts_with("  lumoflash ")) << command->name;
    }
}

TEST(Completion, OffersWhatFitsAtTheLastWord) {
    struct Case {
        const char* name;
        std::vector<std::string> words, expected;
    };
    const Case cases[] = {
        {"a command", {"prog"}, {"program"}},
        {"a command below another", {"mac", "r"}, {"read"}},
        {"a command behind help", {"help", "blank"}, {"blank-check"}},
        {"a command behind an option with a value", {"--probe", "virtual", "blank"}, {"blank-check"}},
        {"a command behind an option with its value", {"--probe=virtual", "blank"}, {"blank-check"}},
        {"an option of the command", {"program", "--verif"}, {"--verify"}},
        {"an option of every command", {"program", "--devices"}, {"--devices"}},
        {"choices", {"program", "--verify", ""}, {"crc", "readback", "none"}},
        {"choices behind an equals sign", {"program", "--verify=r"}, {"--verify=readback"}},
        {"a choice that takes a list", {"program", "--erase", "sec"}, {"sectors:"}},
        {"the list of that choice", {"-d", "LumoX1", "program", "--erase", "sectors:"}, {"sectors:0-11"}},
        {"parts", {"--device", "Lumo"}, {"LumoX1"}},
        {"sectors of a part", {"--device", "LumoX1", "erase", "--sectors", ""}, {"0-11"}},
        {"sectors of no part", {"erase", "--sectors", ""}, {}},
        {"a property", {"--set", "CrcV"}, {"CrcVerify="}},
        {"words of a command", {"mac", "write", "b"}, {"ble"}},
        {"no word more than a command takes", {"mac", "write", "ble", "C2:00:00:00:00:01", ""}, {}},
        {"nothing behind two dashes that begins with one", {"program", "--", "--ver"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Offered(c.words), c.expected);
    }
}

TEST(Completion, FilesAreLeftToTheShellWithTheirEndings) {
    const CommandText program = DescribeCommandLine();

    EXPECT_EQ(CompletionText(Complete(program, {"--trace", ""}, {})), "files\t\tjson\n");
    EXPECT_EQ(CompletionText(Complete(program, {"--trace=x"}, {})), "files\t--trace=\tjson\n");
    EXPECT_EQ(CompletionText(Complete(program, {"--probe", "virtual:x"}, {})), "files\tvirtual:\t\n");
    EXPECT_EQ(CompletionText(Complete(program, {"--data", ""}, {})), "folders\t\t\n");
    EXPECT_EQ(CompletionText(Complete(program, {"--time", ""}, {})).substr(0, 5), "none\t");
}

TEST(ManPages, NothingInATextIsTakenForARequestOfThePage) {
    CommandText program;
    program.name = "tool";
    program.help = ".Begins with a dot and has \\ and `code` and a-b.";

    const std::string page = ManPages(program, "1.0", "2026-01-01").at("tool.1");

    EXPECT_NE(page.find("\n\\&.Begins with a dot and has \\e and \\fBcode\\fR and a\\-b.\n"), std::string::npos)
        << page;
    EXPECT_TRUE(page.starts_with(".TH TOOL 1 2026-01-01 \"lumo-flash 1.0\" \"User commands\"\n"));
}

TEST(ManPages, EachExitCodeIsAnEntryOfAList) {
    const std::string page = ManPages(DescribeCommandLine(), "1.0", "2026-01-01").at("lumoflash-read.1");

    EXPECT_NE(page.find(".SH EXIT STATUS\n.TP\n\\fB0\\fR\ndone\n.TP\n\\fB1\\fR\noperation failed\n"), std::string::npos)
        << page;
    EXPECT_NE(page.find("\\fB130\\fR\ninterrupted\n.PP\n\\fBlumoflash help COMMAND\\fR shows a command.\n"),
              std::string::npos)
        << page;
}

TEST(ManPages, AnExampleThatIsTooLongGoesOnInTheNextLine) {
    CommandText program;
    program.name = "tool";
    program.example =
        "  tool --device LumoF2F352 --probe virtual:chip.bin one-file.hex another-file.hex\n  tool --short\n";

    const std::string page = ManPages(program, "1.0", "2026-01-01").at("tool.1");

    EXPECT_NE(page.find(".nf\n  tool \\-\\-device LumoF2F352 \\-\\-probe virtual:chip.bin one\\-file.hex \\e\n"
                        "      another\\-file.hex\n  tool \\-\\-short\n.fi\n"),
              std::string::npos)
        << page;
}

}  // namespace
}  // namespace flash::app
