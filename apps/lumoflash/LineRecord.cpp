// A record like that of a program.
#include "apps/lumoflash/LineRecord.h"

#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Version.h"
#include "host/line/Assignment.h"
#include "host/line/Upload.h"

namespace flash::app {
namespace {

using host::line::ChipRun;
using host::line::Record;
using host::line::Slot;

std::string AddressOfKind(const ChipRun& run, const std::string& kind) {
    const auto found = run.addresses.find(kind);
    return found == run.addresses.end() ? "" : found->second;
}

Record RecordOf(const host::line::Job& job, const host::line::FileHashes& hashes, const Slot& slot) {
    const ChipRun& run = *slot.Run();
    const auto start = std::chrono::system_clock::now() -
                       std::chrono::duration_cast<std::chrono::system_clock::duration>(slot.LastDuration());
    Record record;
    // A program that has told its verdict has written it down under its run's name.
    record.run = run.told ? host::line::DrawRunName() : run.id;
    record.chip = AddressOfKind(run, "primary IEEE");
    for (const auto& [path, hash] : hashes) {
        record.files.push_back({path.string(), hash});
    }
    record.part = job.device;
    record.station = job.station;
    record.slot = slot.Plan().name;
    record.operatorName = job.operatorName;
    record.version = VersionText();
    record.start = host::line::UtcText(start);
    record.seconds = std::chrono::duration<double>(slot.LastDuration()).count();
    record.cause = slot.LastVerdict()->cause;
    return record;
}

}  // namespace

void RecordBadChip(const host::line::Job& job, const host::line::FileHashes& hashes, const Slot& slot) {
    if (job.database.empty()) {
        return;
    }
    const Record record = RecordOf(job, hashes, slot);
    const auto database = host::line::OpenDatabase(job.database);
    host::line::Journal journal(JournalFileFor(*database, JournalFolder()));
    host::line::Assignment assignment(*database, journal, {record.run, record.station, record.slot});
    assignment.NoteEnd(record, {});
}

std::vector<std::string> SendRecords(const host::line::Job& job) {
    if (job.database.empty()) {
        return {};
    }
    try {
        const auto database = host::line::OpenDatabase(job.database);
        const host::line::Journal journal(JournalFileFor(*database, JournalFolder()));
        return CatchUp(*database, std::chrono::system_clock::now, journal);
    } catch (const host::Failure& failure) {
        return {"Some records are kept in the journal, and the next run with a database sends them: " +
                std::string(failure.what())};
    }
}

}  // namespace flash::app
