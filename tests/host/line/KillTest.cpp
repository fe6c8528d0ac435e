// The proof by killing: workers assign addresses to chips, are killed after each step of the protocol in turn and at
// random points between, and start again. Whatever was interrupted, no two chips have one address.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <iostream>
#include <map>
#include <random>
#include <set>

#include "host/line/Assignment.h"
#include "host/line/RecordStore.h"
#include "host/line/Upload.h"
#include "tests/host/line/ChipFiles.h"
#include "tests/host/line/Databases.h"
#include "tests/support/LongForm.h"

namespace flash::host::line {
namespace {

using namespace test;

constexpr int kSteps = 6;

enum class Variant { Right, LeasesAhead, ConfirmsFirst, GivesBack };

// How a worker dies: after that step on that chip of its life, or after that time, or not at all.
struct Death {
    int step = 0;
    int chip = 0;
    long nanoseconds = 0;
};

// A range of chips that one worker works on, life after life.
struct Task {
    std::uint64_t first, last;
    std::string station;
};

void KillIn(long nanoseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    timer_create(CLOCK_MONOTONIC, &event, &timer);
    const itimerspec time{{}, {0, nanoseconds}};
    timer_settime(timer, 0, &time, nullptr);
}

class Worker {
public:
    Worker(const std::string& databaseName, const TemporaryFolder& folder, const ChipFiles& chipFiles,
           const Task& itsTask, Variant itsVariant, const Death& itsDeath)
        : database(OpenDatabase(databaseName)),
          journal(folder / (itsTask.station + ".journal")),
          chips(chipFiles),
          task(itsTask),
          variant(itsVariant),
          death(itsDeath) {}

    void Run() {
        if (death.nanoseconds != 0) {
            KillIn(death.nanoseconds);
        }
        CatchUp(*database, std::chrono::system_clock::now, journal);
        if (variant == Variant::GivesBack) {
            database->Run("UPDATE pool_address SET state = 'FREE', chip = NULL WHERE state = 'LEASED' AND station = $1",
                          {task.station});
        }
        for (std::uint64_t chip = task.first; chip < task.last; ++chip) {
            if (!chips.IsSetAside(chip)) {
                Work(chip);
                ++done;
            }
        }
    }

private:
    void After(int step) const {
        if (step == death.step && done == death.chip) {
            kill(getpid(), SIGKILL);
        }
    }

    void Work(std::uint64_t chip) {
        const ChipFacts facts = chips.Read(chip);
        Record record{.run = DrawRunName(), .chip = facts.identity.Text(), .station = task.station, .isGood = true};
        Assignment assignment(*database, journal, {record.run, task.station, ""});
        // Every other chip gets its address while the shared database is lost.
        const bool isLost = variant == Variant::LeasesAhead && chip % 2 == 1;
        if (variant == Variant::LeasesAhead) {
            assignment.LeaseAhead(8);
        }
        if (isLost) {
            assignment.GoOnWithout(DatabaseLost(std::string("lost")));
        }
        try {
            assignment.TakeAddresses(facts, {{PoolKind::Ieee}});
        } catch (const DatabaseLost&) {
            return;  // nothing is leased ahead; the chip is left for later
        }
        After(1);
        assignment.NoteAddresses();
        After(2);
        const RadioAddress given = assignment.Given().at(PoolKind::Ieee);
        record.ieee = given.Text();
        if (variant == Variant::ConfirmsFirst) {
            assignment.NoteEnd(record, assignment.Given());
            assignment.Store();
        }
        chips.Erase(chip);
        After(3);
        chips.Program(chip, given);
        After(4);
        if (variant != Variant::ConfirmsFirst) {
            assignment.NoteEnd(record, {{PoolKind::Ieee, chips.Read(chip).ieee.value()}});
            After(5);
            if (!isLost) {
                assignment.Store();
            }
        }
        After(6);
        chips.SetAside(chip);
    }

    std::unique_ptr<Database> database;
    Journal journal;
    const ChipFiles& chips;
    Task task;
    Variant variant;
    Death death;
    int done = 0;
};

class KillProof : public AnyDatabase {
protected:
    void Prepare(std::uint64_t chipCount) {
        chips.emplace(folder.Path(), chipCount);
        const AddressRange range[] = {{PoolKind::Ieee, 0x0200'0000'0000'0001, 0x0200'0000'0000'0000 + chipCount}};
        Pool(*database).Add(range);
        database.reset();  // a process that forks must not share its connection
    }

    pid_t Launch(const Task& task, Variant variant, const Death& death) {
        const pid_t child = fork();
        if (child == 0) {
            try {
                Worker(name, folder, *chips, task, variant, death).Run();
                _exit(0);
            } catch (const std::exception& error) {
                std::cerr << error.what() << '\n';
                _exit(1);
            }
        }
        return child;
    }

    // Runs one life of one worker to its end; true when it was killed.
    bool Live(const Task& task, Variant variant, const Death& death) {
        int status = 0;
        waitpid(Launch(task, variant, death), &status, 0);
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    }

    // What must not be, one line each.
    std::vector<std::string> Violations() {
        database = Open();
        std::vector<std::string> found;
        std::map<std::string, std::vector<PoolAddress>> ofChips;
        Pool(*database).ForEach([&](const PoolAddress& address) {
            if (address.chip) {
                ofChips[*address.chip].push_back(address);
            }
        });
        std::map<std::string, std::set<std::string>> recorded;  // addresses of good records, by chip
        RecordStore(*database).ForEach([&](const Record& record) {
            if (record.isGood) {
                recorded[record.chip].insert(record.ieee);
            }
        });
        std::set<std::string> carried;
        for (std::uint64_t chip = 0; chip < chips->Count(); ++chip) {
            const ChipFacts facts = chips->Read(chip);
            const std::string identity = facts.identity.Text();
            const std::string address = facts.ieee ? facts.ieee->Text() : "none";
            const std::vector<PoolAddress>& own = ofChips[identity];
            if (facts.ieee && !carried.insert(address).second) {
                found.push_back("two chips carry " + address);
            }
            if (own.size() > 1) {
                found.push_back(identity + " has two addresses");
            }
            const bool isConfirmed = own.size() == 1 && own[0].state == AddressState::Confirmed;
            if ((isConfirmed || !recorded[identity].empty()) && (own.empty() || own[0].address.Text() != address)) {
                found.push_back(std::string(identity).append(" is recorded as good and carries ").append(address));
            }
            if (chips->IsSetAside(chip) && (!isConfirmed || recorded[identity] != std::set<std::string>{address})) {
                found.push_back(identity + " left the line as good and is not recorded so");
            }
            if (!own.empty() && own[0].state == AddressState::Leased && !IsInWork(identity)) {
                found.push_back("nothing explains why " + own[0].address.Text() + " is leased");
            }
        }
        return found;
    }

    bool IsInWork(const std::string& identity) {
        return !database->Run("SELECT run FROM pool_chip WHERE identity = $1 AND state = 'WORK'", {identity}).empty();
    }

    // 16 workers at four stations, each killed so many times, each time in another way; then the first twelve work to
    // the end, and what the others left stays as it is.
    void KillAndFinish(int lives, Variant variant = Variant::Right) {
        constexpr int kWorkers = 16, kLeftAlone = 4;
        std::mt19937 random(1);
        std::vector<Task> tasks;
        for (std::uint64_t i = 0; i < kWorkers; ++i) {
            tasks.push_back({chips->Count() * i / kWorkers, chips->Count() * (i + 1) / kWorkers,
                             "station" + std::to_string(i % 4)});
        }
        std::map<pid_t, std::pair<int, int>> running;  // worker and life
        const auto start = [&](int worker, int life) {
            Death death;
            if (life < lives && life % 3 == 2) {
                death.nanoseconds = 1'000'000 + static_cast<long>(random() % 200'000'000);
            } else if (life < lives) {
                death = {1 + (life + worker) % kSteps, static_cast<int>(random() % 20), 0};
            }
            running[Launch(tasks[static_cast<std::size_t>(worker)], variant, death)] = {worker, life};
        };
        for (int worker = 0; worker < kWorkers; ++worker) {
            start(worker, 0);
        }
        while (!running.empty()) {
            int status = 0;
            const auto ended = running.extract(wait(&status));
            const auto [worker, life] = ended.mapped();
            if (WIFSIGNALED(status)) {
                ++killed;
            }
            const bool isLeftAlone = worker >= kWorkers - kLeftAlone && life + 1 >= lives;
            if (WIFSIGNALED(status) && !isLeftAlone) {
                start(worker, life + 1);
            } else {
                EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
            }
        }
    }

    // What a station leased ahead and has not given to a chip is leased to it in the database, and to it alone.
    std::vector<std::string> StockViolations() {
        std::vector<std::string> found;
        std::set<std::string> inStocks;
        for (int station = 0; station < 4; ++station) {
            const Journal journal(folder / ("station" + std::to_string(station) + ".journal"));
            for (const std::string& complaint : CatchUp(*database, std::chrono::system_clock::now, journal)) {
                found.push_back(complaint);
            }
            const auto own = OpenDatabase("sqlite:" + journal.File().string() + ".stock");
            const std::string holder = own->Run("SELECT holder FROM stock").at(0).at(0).value_or("");
            Stock(journal, std::chrono::system_clock::now).Fill(*database, std::vector{PoolKind::Ieee}, 100, "last");
            std::set<std::string> leased;
            for (const PoolAddress& address : Pool(*database).LeasedAhead(holder)) {
                leased.insert(address.address.Text());
            }
            for (const Row& row : own->Run("SELECT address FROM pool_address WHERE state = 'FREE'")) {
                if (!inStocks.insert(row[0].value_or("")).second || leased.erase(row[0].value_or("")) == 0) {
                    found.push_back(row[0].value_or("") + " is in a stock and not leased to it");
                }
            }
            for (const std::string& address : leased) {
                found.push_back("nothing explains why " + address + " is leased ahead");
            }
        }
        return found;
    }

    std::uint64_t SetAside() const {
        std::uint64_t count = 0;
        for (std::uint64_t chip = 0; chip < chips->Count(); ++chip) {
            count += chips->IsSetAside(chip) ? 1u : 0u;
        }
        return count;
    }

    std::optional<ChipFiles> chips;
    int killed = 0;
};

ON_EACH_DATABASE(KillProof);

TEST_P(KillProof, NoTwoChipsGetOneAddressAndEachGoodOneIsRecorded) {
    const std::uint64_t everyday = GetParam() == Dialect::Sqlite ? 20'000 : 5'000;
    Prepare(flash::test::IsLongForm() ? 100'000 : everyday / (IS_SANITIZED ? 10 : 1));

    KillAndFinish(flash::test::IsLongForm() ? 60 : 6);

    EXPECT_EQ(Violations(), std::vector<std::string>{});
    EXPECT_GE(SetAside(), chips->Count() * 3 / 4);
    EXPECT_GE(killed, 16);  // a worker may be done before it is killed again, but each dies once at least
}

TEST_P(KillProof, LosesNothingOfWhatStationsLeaseAhead) {
    Prepare(flash::test::IsLongForm() ? 20'000 : 2'000 / (IS_SANITIZED ? 4 : 1));
    // Enough for every station's stock, beside one for each chip.
    database = Open();
    const AddressRange more[] = {{PoolKind::Ieee, 0x0200'0000'1000'0000, 0x0200'0000'1000'03FF}};
    Pool(*database).Add(more);
    database.reset();

    KillAndFinish(6, Variant::LeasesAhead);

    database = Open();
    EXPECT_EQ(StockViolations(), std::vector<std::string>{});
    EXPECT_EQ(Violations(), std::vector<std::string>{});
    EXPECT_GE(SetAside(), chips->Count() * 2 / 3);
}

TEST_P(KillProof, AChipThatWasKilledAtAnyStepGetsTheSameAddressAgain) {
    Prepare(kSteps);
    for (std::uint64_t chip = 0; chip < kSteps; ++chip) {
        const Task task{chip, chip + 1, "station"};
        ASSERT_TRUE(Live(task, Variant::Right, {static_cast<int>(chip) + 1, 0}));
        database = Open();
        const std::vector<PoolAddress> first = Pool(*database).OfChip(chips->Read(chip).identity.Text());
        database.reset();

        ASSERT_FALSE(Live(task, Variant::Right, {}));

        EXPECT_EQ(chips->Read(chip).ieee, first.at(0).address) << "after step " << chip + 1;
    }
    EXPECT_EQ(Violations(), std::vector<std::string>{});
    EXPECT_EQ(SetAside(), kSteps);
}

TEST_P(KillProof, NoticesAProtocolThatConfirmsBeforeItReadsBack) {
    Prepare(2);

    ASSERT_TRUE(Live({0, 1, "station"}, Variant::ConfirmsFirst, {3, 0}));

    EXPECT_THAT(Violations(), testing::Contains(testing::HasSubstr("is recorded as good and carries none")));
}

TEST_P(KillProof, NoticesAProtocolThatGivesLeasedAddressesBack) {
    database->Run(GetParam() == Dialect::Sqlite ? "DROP TRIGGER address_stays_given"
                                                : "DROP TRIGGER address_stays_given ON pool_address");
    Prepare(2);
    ASSERT_TRUE(Live({0, 1, "station"}, Variant::GivesBack, {4, 0}));

    Live({1, 2, "station"}, Variant::GivesBack, {});

    EXPECT_THAT(Violations(), testing::Contains(testing::HasSubstr("two chips carry 02:00:00:00:00:00:00:01")));
}

}  // namespace
}  // namespace flash::host::line
