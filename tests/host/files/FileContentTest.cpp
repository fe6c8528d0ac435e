// Files that are written whole or not at all.
#include "host/files/FileContent.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "host/files/ProgramFile.h"
#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::size_t FilesIn(const TemporaryFolder& folder) {
    const std::filesystem::directory_iterator files(folder / "");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

// For as long as it lives no file of this process grows beyond so many bytes: a full disk.
class DiskOf {
public:
    explicit DiskOf(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~DiskOf() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    DiskOf(const DiskOf&) = delete;
    DiskOf& operator=(const DiskOf&) = delete;

private:
    rlimit before{};
    void (*handler)(int);
};

TEST(SaveFile, CreatesAndReplacesAndLeavesNothingBeside) {
    const TemporaryFolder folder;
    const auto path = folder / "a.bin";

    SaveFile(path, Bytes{1, 0, 2, 3});
    SaveFile(path, Bytes{1, 0, 2});

    EXPECT_EQ(LoadFile(path), (Bytes{1, 0, 2}));
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(SaveFile, LeavesTheFileAsItWasWhenTheDiskIsFull) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.bin", "old");
    std::string text;
    {
        const DiskOf disk(10);
        text = FailureOf(FailureKind::Operation, [&] { SaveFile(path, Bytes(1000, 7)); });
    }

    EXPECT_EQ(text, path.string() + ": the file cannot be written: File too large");
    EXPECT_EQ(LoadFile(path), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(SaveFile, KeepsLinksAndPermissions) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.bin", "old");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    std::filesystem::create_symlink("a.bin", folder / "link");
    std::filesystem::create_symlink("link", folder / "link to link");
    std::filesystem::create_symlink("new.bin", folder / "link to nothing");

    SaveFile(folder / "link to link", Bytes{1});
    SaveFile(folder / "link to nothing", Bytes{2});

    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link to link"));
    EXPECT_EQ(LoadFile(path), Bytes{1});
    EXPECT_EQ(LoadFile(folder / "new.bin"), Bytes{2});
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
}

// A process that has ended, so that nobody has its number for a while.
pid_t EndedProcess() {
    const pid_t process = fork();
    if (process == 0) {
        _exit(0);
    }
    waitpid(process, nullptr, 0);
    return process;
}

TEST(SaveFile, RemovesWhatKilledProgramsHaveLeftBesideTheFileAndNothingElse) {
    const TemporaryFolder folder;
    const std::string ended = std::to_string(EndedProcess());
    for (const std::string& forsaken : {ended + "-0", ended + "-17", std::to_string(getpid()) + "-0"}) {
        folder.Write("a.bin." + forsaken + ".new", "half");
    }
    const std::string others[] = {"a.bin.1-0.new",
                                  "a.bin." + ended + ".new",
                                  "a.bin." + ended + "-.new",
                                  "a.bin." + ended + "-0.",
                                  "b.bin." + ended + "-0.new",
                                  "a.bin.x" + ended + "-0.new",
                                  "a.bin..new",
                                  "a.bin.new"};
    for (const std::string& other : others) {
        folder.Write(other, "somebody's");
    }

    SaveFile(folder / "a.bin", Bytes{1});

    EXPECT_EQ(LoadFile(folder / "a.bin"), Bytes{1});
    EXPECT_EQ(FilesIn(folder), std::size(others) + 1);
    for (const std::string& other : others) {
        EXPECT_EQ(LoadFile(folder / other).size(), 10U) << other;
    }
}

TEST(SaveFile, ThatIsInTheMakingIsNobodysLeftover) {
    const TemporaryFolder folder;
    FileInTheMaking first(folder / "a.bin", Bytes{1});

    SaveFile(folder / "a.bin", Bytes{2});
    EXPECT_EQ(LoadFile(folder / "a.bin"), Bytes{2});
    first.Replace();

    EXPECT_EQ(LoadFile(folder / "a.bin"), Bytes{1});
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(SaveFile, LeavesAReadOnlyFileAsItIs) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.bin", "old");
    std::filesystem::permissions(path, std::filesystem::perms(0444));
    EXPECT_TRUE(IsReadOnly(path));
    EXPECT_FALSE(IsReadOnly(folder / "missing"));

    EXPECT_EQ(FailureOf(FailureKind::Operation, [&] { SaveFile(path, Bytes{1}); }),
              path.string() + ": the file cannot be written: Permission denied");

    EXPECT_EQ(LoadFile(path).size(), 3U);
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(SaveFile, SaysWhatCannotBeWritten) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("loop", folder / "loop");
    struct Case {
        std::filesystem::path path;
        const char* reason;
    };
    const Case cases[] = {
        {folder / "missing/a.bin", "No such file or directory"},
        {"/dev/full", "No space left on device"},
        {folder / "", "Is a directory"},
        {folder / "loop", "Too many levels of symbolic links"},
        {folder / std::string(300, 'x'), "File name too long"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(FailureOf(FailureKind::Operation, [&] { SaveFile(c.path, Bytes{1}); }),
                  c.path.string() + ": the file cannot be written: " + c.reason);
    }
}

TEST(FileInTheMaking, IsGoneUnlessItIsPutInPlace) {
    const TemporaryFolder folder;

    { const FileInTheMaking file(folder / "a.bin", Bytes{1}); }

    EXPECT_EQ(FilesIn(folder), 0U);
}

TEST(FileInTheMaking, IsNotPlacedAnewOverAnother) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.bin", "old");

    const std::string text = FailureOf(FailureKind::Operation, [&] { FileInTheMaking(path, Bytes{1}).PlaceAnew(); });

    EXPECT_EQ(text, path.string() + ": the file cannot be written: File exists");
    EXPECT_EQ(LoadFile(path).size(), 3U);
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(IsSameFile, SeesThroughLinksAndSpellings) {
    const TemporaryFolder folder;
    const auto path = folder.Write("a.bin", "old");
    std::filesystem::create_symlink("a.bin", folder / "link");
    std::filesystem::create_symlink("missing", folder / "link to nothing");
    std::filesystem::create_hard_link(path, folder / "hard");
    struct Case {
        std::string name;
        bool isSame;
    };
    for (const Case& c : {Case{"a.bin", true}, {"./a.bin", true}, {"link", true}, {"hard", true}, {"b.bin", false}}) {
        EXPECT_EQ(IsSameFile(path, folder / c.name), c.isSame) << c.name;
        EXPECT_EQ(IsSameFile(folder / c.name, path), c.isSame) << c.name;
    }
    EXPECT_TRUE(IsSameFile(folder / "missing", folder / "./missing"));
    EXPECT_TRUE(IsSameFile(folder / "missing", folder / "link to nothing"));
    EXPECT_FALSE(IsSameFile("/dev/null", "/dev/null"));
}

}  // namespace
}  // namespace flash::host
