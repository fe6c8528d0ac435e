// What a station keeps of its own, and what a disk does to it.
#include "host/line/Journal.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "host/line/Assignment.h"
#include "host/line/RecordStore.h"
#include "host/line/Schema.h"
#include "host/line/Upload.h"
#include "tests/host/line/Databases.h"

namespace flash::host::line {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

Record ARecord(const std::string& run) {
    return {.run = run,
            .chip = Chip(1).identity.Text(),
            .ieee = Ieee(1).Text(),
            .files = {{"a, \"b\".bin", std::string(64, 'a')}},
            .part = "LumoF2F352",
            .station = "here",
            .operatorName = "Zo\xC3\xAB",
            .start = "2026-11-22T07:10:41Z",
            .seconds = 1.25,
            .isGood = true};
}

class AJournal : public testing::Test {
protected:
    std::string Content() const {
        std::ifstream stream(journal.File());
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    TemporaryFolder folder;
    Journal journal{folder / "deep" / "er" / "line.journal"};
};

TEST_F(AJournal, GivesBackWhatWasAppended) {
    journal.Append(LeasedEntry{{"run", "here", "left"}, Chip(1).identity.Text(), {{PoolKind::Ble, Ble(1)}}});
    journal.Append(EndedEntry{ARecord("run"), {{PoolKind::Ieee, Ieee(1)}}});
    journal.AppendSoon(StoredEntry{"run"});

    const JournalContent content = journal.Read();

    ASSERT_EQ(content.entries.size(), 3);
    const auto& leased = std::get<LeasedEntry>(content.entries[0]);
    EXPECT_EQ(leased.place.slot, "left");
    EXPECT_EQ(leased.addresses, (Addresses{{PoolKind::Ble, Ble(1)}}));
    EXPECT_EQ(std::get<EndedEntry>(content.entries[1]).record, ARecord("run"));
    EXPECT_EQ(std::get<StoredEntry>(content.entries[2]).run, "run");
    EXPECT_EQ(content.end, Content().size());
}

TEST_F(AJournal, LosesNothingButATornLastLine) {
    journal.Append(StoredEntry{"first"});
    journal.Append(StoredEntry{"torn"});
    const std::uint64_t whole = Content().find('\n') + 1;
    for (std::uint64_t size = whole + 1; size < Content().size(); ++size) {
        std::filesystem::resize_file(journal.File(), size);
        EXPECT_EQ(journal.Read().entries.size(), 1) << size;
        EXPECT_EQ(journal.Read().end, whole);
        EXPECT_THAT(journal.Read().damages,
                    ElementsAre(HasSubstr("byte " + std::to_string(whole) + ": the line is cut short")));
        journal.Append(StoredEntry{"torn"});
        EXPECT_EQ(std::get<StoredEntry>(journal.Read().entries.back()).run, "torn");
        std::filesystem::resize_file(journal.File(), whole);
        journal.Append(StoredEntry{"torn"});
    }
}

TEST_F(AJournal, NoticesALineThatIsNotAsItWasWritten) {
    journal.Append(StoredEntry{"first"});
    journal.Append(StoredEntry{"second"});
    std::string content = Content();
    content[content.find("first")] = 'F';
    std::ofstream(journal.File(), std::ios::trunc) << content;

    EXPECT_EQ(journal.Read().entries.size(), 1);
    EXPECT_THAT(journal.Read().damages, ElementsAre(HasSubstr("byte 0: the line is damaged, and left out")));
}

// The limit of a file's size stands for a full disk.
TEST_F(AJournal, IsAsItWasWhenTheDiskIsFull) {
    journal.Append(StoredEntry{"first"});
    const std::string before = Content();
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{before.size() + 10, before.size() + 10};
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string text = TextOf([&] { journal.Append(StoredEntry{"second"}); });
        _exit(text.find("Cannot write the journal") == 0 && text.find("File too large") != std::string::npos ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(Content(), before);
}

TEST_F(AJournal, LetsOneProcessAtATimeWorkOnAChip) {
    const ChipLock lock(journal, "chip");

    EXPECT_THAT(TextOf([&] { ChipLock(journal, "chip"); }), HasSubstr("is in work in another slot of this station"));
    EXPECT_EQ(TextOf([&] { ChipLock(journal, "another"); }), "");
}

TEST(Records, AreTheSameAfterJson) { EXPECT_EQ(ParseRecordJson(RecordJson(ARecord("run"))), ARecord("run")); }

TEST(Records, AreOneLineOfCsv) {
    EXPECT_THAT(RecordCsv(ARecord("=run")),
                testing::StartsWith("'=run,00:12:4B:00:00:00:00:01,02:00:00:00:00:00:00:01,,"
                                    "\"a, \"\"b\"\".bin=aaaa"));
}

// ---- A SQLite file that cannot be written

class SqliteInTrouble : public testing::Test {
protected:
    SqliteInTrouble() {
        const auto database = OpenDatabase(name, IfMissing::Create);
        MigrateSchema(*database);
        const AddressRange range[] = {{PoolKind::Ieee, 0x0200'0000'0000'0001, 0x0200'0000'0000'0009}};
        Pool(*database).Add(range);
    }

    // In a process of its own, for limits and users cannot be put back.
    template <typename Work>
    int ExitOf(Work work) {
        const pid_t child = fork();
        if (child == 0) {
            const std::string text = TextOf([&] { _exit(work() ? 0 : 1); });
            std::fputs(text.c_str(), stderr);
            _exit(2);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }

    TemporaryFolder folder;
    std::string name = "sqlite:" + (folder / "line.db").string();
    const LeaseRequest request{{PoolKind::Ieee}};
};

TEST_F(SqliteInTrouble, AFullDiskEndsInATextAndTheRecordStaysInTheJournal) {
    EXPECT_EQ(ExitOf([&] {
                  const auto database = OpenDatabase(name);
                  Journal journal(folder / "journal");
                  Assignment assignment(*database, journal, {"run", "here", ""});
                  const Addresses addresses = assignment.Lease(Chip(1), request);
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{4096, 4096};  // less than the database has, more than the journal gets
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const auto lost = assignment.Finish(ARecord("run"), addresses);
                  return lost && lost->find(name) == 0;
              }),
              0);

    const auto database = OpenDatabase(name);
    const Journal journal(folder / "journal");
    CatchUp(*database, std::chrono::system_clock::now, journal);
    EXPECT_EQ(Pool(*database).Find(PoolKind::Ieee, Ieee(1))->state, AddressState::Confirmed);
    EXPECT_TRUE(RecordStore(*database).Has("run"));
}

TEST_F(SqliteInTrouble, AReadOnlyFolderEndsInAText) {
    std::filesystem::permissions(folder.Path(), std::filesystem::perms(0555));
    std::filesystem::permissions(folder / "line.db", std::filesystem::perms(0444));
    EXPECT_EQ(ExitOf([&] {
                  if (geteuid() == 0 && setuid(65534) != 0) {
                      return false;
                  }
                  const std::string text = TextOf([&] {
                      const auto database = OpenDatabase(name);
                      Pool(*database).Lease(Chip(1), {"run", "here", ""}, request);
                  });
                  return text.find(name + ": it") == 0;
              }),
              0);
    std::filesystem::permissions(folder.Path(), std::filesystem::perms(0755));
}

TEST_F(SqliteInTrouble, AFileOfAnotherKindEndsInAText) {
    std::ofstream(folder / "other.db") << "This is no database, but a text that is long enough to be taken for one.";

    EXPECT_THAT(TextOf([&] { Pool{*OpenDatabase("sqlite:" + (folder / "other.db").string())}; }),
                HasSubstr("it is no SQLite database"));
    EXPECT_THAT(TextOf([&] { OpenDatabase("sqlite:" + (folder / "missing.db").string()); }),
                HasSubstr("there is no such file"));
    EXPECT_THAT(TextOf([&] { OpenDatabase("oracle:x"); }), HasSubstr("is no database: give sqlite:FILE"));
}

TEST_F(SqliteInTrouble, ARunThatDiedGetsItsRecordOnce) {
    const auto database = OpenDatabase(name);
    Journal journal(folder / "journal");
    Record dead = ARecord("run");
    dead.isGood = false;
    dead.cause = "killed";

    EXPECT_TRUE(RecordDeadRun(*database, std::chrono::system_clock::now, journal, dead));
    EXPECT_FALSE(RecordDeadRun(*database, std::chrono::system_clock::now, journal, dead));
    EXPECT_EQ(RecordStore(*database).OfChip(dead.chip), std::vector<Record>{dead});
}

TEST_F(SqliteInTrouble, RecordsAreNeverChanged) {
    const auto database = OpenDatabase(name);
    RecordStore(*database).Append(ARecord("run"));

    for (const char* statement : {"UPDATE line_record SET verdict = 'bad'", "DELETE FROM line_record"}) {
        EXPECT_THAT(TextOf([&] { database->Run(statement); }), HasSubstr("records are never changed"));
    }
    EXPECT_FALSE(RecordStore(*database).Append(ARecord("run")));
    EXPECT_EQ(RecordStore(*database).Count(), 1);
}

}  // namespace
}  // namespace flash::host::line
