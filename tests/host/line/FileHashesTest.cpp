// Files known again by their SHA-256.
#include "host/line/FileHashes.h"

#include <gtest/gtest.h>

#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/support/Throws.h"

namespace flash::host::line {
namespace {

constexpr char kOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class FilesOfAJob : public testing::Test {
protected:
    void SetUp() override { folder.Write("a.bin", "abc"); }

    const TemporaryFolder folder;
    const std::vector<std::filesystem::path> paths{folder / "a.bin"};
};

TEST_F(FilesOfAJob, HaveTheHashOfTheirBytes) { EXPECT_EQ(HashFiles(paths), (FileHashes{{paths[0], kOfAbc}})); }

TEST_F(FilesOfAJob, ThatChangeAreNoticed) {
    const FileHashes before = HashFiles(paths);
    EXPECT_NO_THROW(RequireSame(before, HashFiles(paths), "changed"));

    folder.Write("a.bin", "abd");

    EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { RequireSame(before, HashFiles(paths), "it has changed"); }),
              paths[0].string() + ": it has changed; its SHA-256 is " +
                  "a52d159f262b2c6ddb724a61840befc36eb30c88877a4030b65cbe86298449c9, not " + kOfAbc);
}

TEST_F(FilesOfAJob, ThatAreGoneAreTold) {
    std::filesystem::remove(paths[0]);

    EXPECT_THROW(HashFiles(paths), std::runtime_error);
}

}  // namespace
}  // namespace flash::host::line
