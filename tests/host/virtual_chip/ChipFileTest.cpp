// One chip, one program at a time.
#include "host/virtual_chip/ChipFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ChipFile, BelongsToOneUntilItIsClosed) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.chip", "chip");
    std::filesystem::create_symlink("a.chip", folder / "link");
    {
        const ChipFile first(path);

        for (const auto& name : {path, folder / "link"}) {
            EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { const ChipFile second(name); }),
                      "Cannot open the virtual chip in " + name.string() + ": it is in use by another program");
        }
    }

    EXPECT_TRUE(ChipFile(path).Exists());
}

TEST(ChipFile, OfANewChipIsNotSavedOverAnothersThatCameMeanwhile) {
    const TemporaryFolder folder;
    ChipFile first(folder / "a.chip");
    ChipFile second(folder / "a.chip");
    EXPECT_FALSE(second.Exists());
    first.Save(Bytes{1});

    const std::string text = FailureOf(FailureKind::Operation, [&] { second.Save(Bytes{2}); });

    EXPECT_NE(text.find("File exists"), std::string::npos) << text;
    EXPECT_EQ(first.Load(), Bytes{1});
}

TEST(ChipFile, IsSavedAgainAndAgain) {
    const TemporaryFolder folder;
    for (const auto& path : {folder / "new.chip", folder.Write("old.chip", "chip")}) {
        SCOPED_TRACE(path);
        ChipFile file(path);

        for (const Bytes& content : {Bytes{1}, Bytes{2}, Bytes{2}, Bytes{3, 4}}) {
            file.Save(content);

            EXPECT_EQ(file.Load(), content);
        }
    }
}

TEST(ChipFile, StaysItsProgramsOwnWhenItWasSaved) {
    const TemporaryFolder folder;
    for (const auto& path : {folder / "new.chip", folder.Write("old.chip", "chip")}) {
        SCOPED_TRACE(path);
        ChipFile file(path);
        for (const Bytes& content : {Bytes{1}, Bytes{2}}) {
            file.Save(content);

            const std::string text = FailureOf(FailureKind::Unreachable, [&] { const ChipFile second(path); });
            EXPECT_NE(text.find("in use by another program"), std::string::npos) << text;
        }
    }
}

TEST(ChipFile, IsNotSavedOverAnotherThatTookItsPlace) {
    const TemporaryFolder folder;
    ChipFile file(folder.Write("a.chip", "chip"));
    std::filesystem::rename(folder.Write("other", "other"), folder / "a.chip");

    const std::string text = FailureOf(FailureKind::Operation, [&] { file.Save(Bytes{1}); });

    EXPECT_NE(text.find("somebody has replaced or removed it"), std::string::npos) << text;
    EXPECT_EQ(ChipFile(folder / "a.chip").Load().size(), 5U);
}

TEST(ChipFile, BehindALinkIsSavedWhereTheLinkLeads) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("a.chip", folder / "link");

    ChipFile(folder / "link").Save(Bytes{1});
    ChipFile(folder / "link").Save(Bytes{2});

    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(ChipFile(folder / "a.chip").Load(), Bytes{2});
}

TEST(ChipFile, ThatCannotBeOpenedSaysWhatWasTriedAndWhatCameBack) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("loop", folder / "loop");
    folder.Write("file", "no folder");
    struct Case {
        std::filesystem::path path;
        const char* reason;
    };
    const Case cases[] = {
        {folder / "loop", "Too many levels of symbolic links"},
        {folder / std::string(300, 'x'), "File name too long"},
        {folder / "file/a.chip", "Not a directory"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { const ChipFile file(c.path); }),
                  "Cannot open the virtual chip in " + c.path.string() + ": " + c.reason);
    }
}

TEST(ChipFile, ThatIsAPipeIsRefusedAtOnce) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);

    EXPECT_ANY_THROW(ChipFile(folder / "pipe").Load());
}

}  // namespace
}  // namespace flash::host
