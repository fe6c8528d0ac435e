// Word by word, as flash is programmed.
#include "host/plan/Garbling.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "host/Failure.h"
#include "host/Numbers.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kWordBytes = 4;

// Words that cannot be programmed: the first one, and how many there are.
struct Garbled {
    std::uint32_t address = 0, present = 0, wanted = 0;
    std::size_t count = 0;

    void Look(std::uint32_t at, std::span<const std::uint8_t> held, std::span<const std::uint8_t> asked) {
        const std::uint32_t heldWord = LittleEndian(held.first(kWordBytes));
        const std::uint32_t askedWord = LittleEndian(asked.first(kWordBytes));
        if ((askedWord & ~heldWord) != 0 && count++ == 0) {
            address = at;
            present = heldWord;
            wanted = askedWord;
        }
    }
};

bool IsProgrammedAsItIs(const WritePlan& plan, std::uint32_t index) {
    const bool erasesOthersOnly = plan.erase == EraseChoice::None || plan.erase == EraseChoice::Listed;
    return erasesOthersOnly && plan.sectors[index].isWritten && !plan.sectors[index].isErased;
}

}  // namespace

void RefuseGarbling(const WritePlan& plan, const std::optional<std::uint32_t>& keptCcfgAddress,
                    const ReadFlash& readFlash) {
    const std::uint32_t sectorSize = plan.geometry.sectorSizeBytes;
    const std::uint32_t end = keptCcfgAddress.value_or(plan.geometry.SizeBytes());
    Garbled garbled;
    for (const DataRun& run : plan.writes) {
        for (std::uint32_t offset = 0; offset < run.bytes.size(); offset += sectorSize) {
            const std::uint32_t start = run.address + offset;
            if (!IsProgrammedAsItIs(plan, start / sectorSize)) {
                continue;
            }
            const std::vector<std::uint8_t> present = readFlash(start, sectorSize);
            for (std::uint32_t at = 0; at < sectorSize && start + at < end; at += kWordBytes) {
                garbled.Look(start + at, std::span(present).subspan(at), std::span(run.bytes).subspan(offset + at));
            }
        }
    }
    if (garbled.count != 0) {
        const std::string more = garbled.count == 1 ? "" : fmt::format("; neither can {} more", garbled.count - 1);
        throw BadInput(Field::Erase,
                       fmt::format("the word at 0x{:08X} is 0x{:08X} and cannot become 0x{:08X} without being erased{}",
                                   garbled.address, garbled.present, garbled.wanted, more));
    }
}

}  // namespace flash::host
