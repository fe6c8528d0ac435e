// Long random sequences of commands, each answer and the whole of flash compared with a model that thinks in sectors
// and wanted contents instead of words and operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

constexpr std::uint32_t kSectorCount = 6;
constexpr std::uint32_t kCommands = 150;

// What a load should do to flash, sector by sector.
class Model {
public:
    Model(std::uint32_t bytesPerSector, std::set<std::uint32_t> locked)
        : sectorBytes(bytesPerSector),
          content(kSectorCount, Bytes(bytesPerSector, 0xFF)),
          erases(kSectorCount, 0),
          protectedSectors(std::move(locked)) {}

    std::uint32_t BankErase() {
        for (std::uint32_t i = 0; i < kSectorCount; ++i) {
            if (!protectedSectors.contains(i)) {
                EraseUnprotected(i);
            }
        }
        return 0;
    }

    std::uint32_t EraseRange(std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t i = first / sectorBytes; i <= last / sectorBytes; ++i) {
            if (!fresh.contains(i)) {
                if (protectedSectors.contains(i)) {
                    return 0x102 | 4u << 16 | i << 24;
                }
                EraseUnprotected(i);
            }
        }
        return 0;
    }

    std::uint32_t Program(std::uint32_t code, std::uint32_t address, const Bytes& chunk) {
        std::uint32_t status = 0;
        for (std::uint32_t i = 0; i < kSectorCount && status == 0; ++i) {
            const std::uint32_t start = std::max(address, i * sectorBytes);
            const std::uint32_t end =
                std::min(address + static_cast<std::uint32_t>(chunk.size()), (i + 1) * sectorBytes);
            if (start < end) {
                const Bytes part(chunk.begin() + (start - address), chunk.begin() + (end - address));
                status = ProgramSector(code, i, start % sectorBytes, part);
            }
        }
        return status;
    }

    // Address of the first byte that is not as wanted, or `otherwise`.
    std::uint32_t FirstOther(std::uint32_t address, const Bytes& wanted, std::uint32_t otherwise) const {
        for (std::uint32_t i = 0; i < wanted.size(); ++i) {
            if (content[(address + i) / sectorBytes][(address + i) % sectorBytes] != wanted[i]) {
                return address + i;
            }
        }
        return otherwise;
    }

    Bytes Image() const {
        Bytes image;
        for (const Bytes& sector : content) {
            image.insert(image.end(), sector.begin(), sector.end());
        }
        return image;
    }

    std::uint32_t sectorBytes;
    std::vector<Bytes> content;
    std::vector<int> erases;
    std::set<std::uint32_t> fresh;
    std::set<std::uint32_t> protectedSectors;

private:
    void EraseUnprotected(std::uint32_t i) {
        content[i] = Bytes(sectorBytes, 0xFF);
        fresh.insert(i);
        ++erases[i];
    }

    static bool SetsABit(const Bytes& before, const Bytes& wanted) {
        return !std::equal(before.begin(), before.end(), wanted.begin(),
                           [](std::uint8_t held, std::uint8_t byte) { return (byte & ~held) == 0; });
    }

    std::uint32_t ProgramSector(std::uint32_t code, std::uint32_t i, std::uint32_t offset, const Bytes& part) {
        Bytes& sector = content[i];
        Bytes wanted = sector;
        if (code == 3 && !fresh.contains(i)) {
            wanted.assign(sectorBytes, 0xFF);
            std::copy(part.begin(), part.end(), wanted.begin() + offset);
            return Replace(i, wanted, wanted != sector, true);
        }
        std::copy(part.begin(), part.end(), wanted.begin() + offset);
        if (code == 4 && SetsABit(sector, wanted)) {
            return Replace(i, wanted, true, fresh.contains(i) || part.size() == sectorBytes);
        }
        return MergeWords(i, wanted, offset, offset + static_cast<std::uint32_t>(part.size()));
    }

    std::uint32_t Replace(std::uint32_t i, const Bytes& wanted, bool needsErase, bool keepsNothingOlder) {
        if (needsErase && protectedSectors.contains(i)) {
            return 0x102 | 4u << 16 | i << 24;
        }
        if (needsErase) {
            EraseUnprotected(i);
        }
        if (keepsNothingOlder) {
            fresh.insert(i);
        } else {
            fresh.erase(i);
        }
        content[i] = wanted;
        return 0;
    }

    // In place, but for the locks of CCFG: those come last.
    std::uint32_t MergeWords(std::uint32_t i, const Bytes& wanted, std::uint32_t begin, std::uint32_t end) {
        const auto clears = [&](std::uint32_t at, int bits) {
            return i == kSectorCount - 1 && begin <= at && at < end && (wanted[at] & bits) == 0;
        };
        const std::uint32_t port = sectorBytes - 0x29;
        const std::uint32_t protection = sectorBytes - 0x20;
        std::vector<std::uint32_t> locks;
        std::uint32_t from = begin;
        std::uint32_t status = 0;
        for (const std::uint32_t at : {port, protection}) {
            if (clears(at, at == port ? 0xFF : 1 << (kSectorCount - 1))) {
                status = status == 0 ? MergeRun(i, wanted, from, at) : status;
                from = at + 1;
                locks.insert(locks.begin(), at);
            }
        }
        status = status == 0 ? MergeRun(i, wanted, from, end) : status;
        for (const std::uint32_t at : locks) {
            Bytes unlocked = wanted;
            if (at == protection) {
                unlocked[at] = static_cast<std::uint8_t>(wanted[at] | (content[i][at] & 1 << (kSectorCount - 1)));
                status = status == 0 ? MergeRun(i, unlocked, at, at + 1) : status;
            }
            status = status == 0 ? MergeRun(i, wanted, at, at + 1) : status;
        }
        return status;
    }

    // Word after word up to the first that cannot be.
    std::uint32_t MergeRun(std::uint32_t i, const Bytes& wanted, std::uint32_t begin, std::uint32_t end) {
        for (std::uint32_t at = begin; at < end;) {
            const std::uint32_t stop = std::min(end, at / 4 * 4 + 4);
            const Bytes before(content[i].begin() + at, content[i].begin() + stop);
            const Bytes after(wanted.begin() + at, wanted.begin() + stop);
            if (after != Bytes(after.size(), 0xFF) && after != before) {
                if (protectedSectors.contains(i) || SetsABit(before, after)) {
                    return 0x103 | 4u << 16;
                }
                std::copy(after.begin(), after.end(), content[i].begin() + at);
            }
            at = stop;
        }
        return 0;
    }
};

// One flashloader and its model under the same random commands.
class Duel {
public:
    Duel(std::uint32_t seed, std::uint32_t sectorBytes)
        : random(seed),
          loader(sectorBytes, kSectorCount),
          model(sectorBytes, seed % 3 == 0 ? std::set<std::uint32_t>{Below(kSectorCount)} : std::set<std::uint32_t>{}) {
        loader.fake.protectedSectors = model.protectedSectors;
        for (std::uint32_t i = 0; i < kSectorCount; ++i) {  // an older program in every other sector
            if (Below(2) == 0) {
                std::generate(model.content[i].begin(), model.content[i].end(), [&] { return AnyByte(); });
                loader.SetFlash(i * sectorBytes, model.content[i]);
            }
        }
    }

    void Step() {
        switch (Below(10)) {
            case 0:
                return Compare(loader.Run(1, 0, 0), {model.BankErase(), 0});
            case 1:
                return EraseSome();
            case 2:
                return CheckBlank();
            case 3:
                loader.LoadAgain();
                model.fresh.clear();
                return;
            default:
                return ProgramSome();
        }
    }

private:
    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); }
    std::uint8_t AnyByte() { return static_cast<std::uint8_t>(random()); }

    std::uint32_t AnyLength(std::uint32_t most) {
        const std::uint32_t lengths[] = {1, 1 + Below(9), 1 + Below(most), most};
        return std::min(lengths[Below(4)], most);
    }

    void Compare(const Answer& answer, const Answer& expected) {
        EXPECT_EQ(answer.status, expected.status);
        EXPECT_EQ(answer.address, expected.address);
        EXPECT_TRUE(loader.fake.bytes == model.Image());
        EXPECT_EQ(loader.fake.erases, model.erases);
    }

    void EraseSome() {
        const std::uint32_t first = Below(kSectorCount * model.sectorBytes);
        const std::uint32_t last = std::min(first + Below(3 * model.sectorBytes), kSectorCount * model.sectorBytes - 1);
        Compare(loader.Run(5, first, last - first), {model.EraseRange(first, last), first});
    }

    void CheckBlank() {
        const std::uint32_t address = Below(kSectorCount) * model.sectorBytes;
        const std::uint32_t programmed = model.FirstOther(address, Bytes(model.sectorBytes, 0xFF), 0xFFFF'FFFF);
        Compare(loader.Run(6, address, model.sectorBytes),
                programmed == 0xFFFF'FFFF ? Answer{0, address} : Answer{0x106, programmed});
    }

    // Chunks of every sort: fresh data, ones, what flash holds, what flash holds with some bits cleared.
    Bytes AnyChunk(std::uint32_t address, std::uint32_t length) {
        const std::uint32_t kind = Below(4);
        Bytes chunk = kind < 2 ? Bytes(length, 0xFF) : loader.FlashAt(address, length);
        for (std::uint8_t& byte : chunk) {
            if (kind == 0 || (kind != 2 && Below(8) == 0)) {
                byte = static_cast<std::uint8_t>(byte & AnyByte());
            }
        }
        return chunk;
    }

    void ProgramSome() {
        const std::uint32_t flashBytes = kSectorCount * model.sectorBytes;
        const std::uint32_t length = AnyLength(model.sectorBytes);
        const std::uint32_t address = std::min(Below(flashBytes), flashBytes - length);
        const Bytes chunk = AnyChunk(address, length);
        const std::uint32_t code = 2 + Below(3);
        const bool verifies = Below(2) == 0;

        const Answer answer = loader.Program(code | (verifies ? 0x10 : 0), address, chunk);

        Answer expected{model.Program(code, address, chunk), address};
        if (verifies && expected.status == 0) {
            const std::uint32_t other = model.FirstOther(address, chunk, 0xFFFF'FFFF);
            expected = other == 0xFFFF'FFFF ? expected : Answer{0x106, other};
        }
        Compare(answer, expected);
    }

    std::mt19937 random;
    Flashloader loader;
    Model model;
};

TEST(Scenario, RandomCommandsLeaveFlashAsTheModelSays) {
    for (std::uint32_t seed = 1; seed <= 200 && !testing::Test::HasFailure(); ++seed) {
        Duel duel(seed, seed % 2 == 0 ? 128 : 256);  // small sectors, so that commands meet often
        for (std::uint32_t step = 0; step < kCommands && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
            duel.Step();
        }
    }
}

}  // namespace
}  // namespace flash
