#include "apps/lumoflash/ChipRecording.h"

#include <fmt/format.h>

#include <algorithm>

#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Version.h"
#include "host/Failure.h"
#include "host/files/FileContent.h"
#include "host/line/Schema.h"
#include "host/line/Sha256.h"

namespace flash::app {
namespace {

using host::AddressKind;
using host::Failure;
using host::FailureKind;
using host::line::DatabaseLost;
using host::line::PoolKind;

std::optional<host::RadioAddress> OrNone(const host::RadioAddress& address) {
    return host::line::IsNoAddress(address) ? std::nullopt : std::optional(address);
}

std::string TextOf(const std::optional<host::RadioAddress>& address) { return address ? address->Text() : ""; }

std::string Hexadecimal(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += fmt::format("{:02x}", byte);
    }
    return digits;
}

// No address is taken while the database is lost, and the chip stays as it is.
[[noreturn]] void RefuseWithoutDatabase(const DatabaseLost& lost) {
    throw DatabaseLost("No address can be taken from the pool: " + lost.Text() + ". Nothing was touched");
}

}  // namespace

host::line::ChipFacts FactsOf(host::Connection& connection) {
    host::Session& session = connection.GetSession();
    const host::CcfgInfo ccfg = session.ReadCcfg();
    return {.identity = session.PrimaryAddress(AddressKind::PrimaryIeee),
            .factory = session.PrimaryAddress(AddressKind::PrimaryBle).Text(),
            .ieee = OrNone(ccfg.ieee),
            .ble = OrNone(ccfg.ble)};
}

ChipRecording::ChipRecording(const Options& commandOptions, View& commandView)
    : options(commandOptions),
      view(commandView),
      database(host::line::OpenDatabase(options.recording.database)),
      journal(host::line::JournalFileFor(*database, JournalFolder())),
      assignment(*database, journal, options.recording.place) {
    const RecordingOptions& recording = options.recording;
    record.run = recording.place.run;
    record.station = recording.place.station;
    record.slot = recording.place.slot;
    record.operatorName = recording.operatorName;
    record.version = VersionText();
    record.start = host::line::UtcText(std::chrono::system_clock::now());
    assignment.LeaseAhead(recording.leaseAhead);
    try {
        host::line::RequireSchema(*database);
        CatchUp();
    } catch (const DatabaseLost& lost) {
        if (!recording.assign.empty() && recording.leaseAhead == 0) {
            RefuseWithoutDatabase(lost);
        }
        assignment.GoOnWithout(lost);
        view.Warning("The record will be kept in the journal: " + lost.Text());
    }
}

void ChipRecording::CatchUp() {
    const std::vector<std::string> complaints = assignment.CatchUp();
    std::ranges::for_each(complaints, [this](const std::string& complaint) { view.Warning(complaint); });
}

void ChipRecording::NoteFile(const std::string& name, std::span<const std::uint8_t> content) {
    record.files.push_back({name, host::line::Sha256(content)});
}

void ChipRecording::Begin(host::Connection& connection, host::ClosingChanges& closing) {
    const host::line::ChipFacts facts = FactsOf(connection);
    record.chip = facts.identity.Text();
    record.part = connection.PartName();
    record.revision = connection.GetSession().Info().revisionText;
    record.plugin = host::line::Sha256(host::LoadFile(connection.Plugin().Path()));
    record.ieee = TextOf(facts.ieee);
    record.ble = TextOf(facts.ble);
    if (options.recording.assign.empty()) {
        return;
    }
    try {
        given = assignment.Lease(facts, {options.recording.assign, options.recording.wasErased});
    } catch (const DatabaseLost& lost) {
        RefuseWithoutDatabase(lost);
    }
    for (const auto& [kind, address] : given) {
        (kind == PoolKind::Ieee ? closing.ieee : closing.ble) = address;
        view.ShowAddress(kind == PoolKind::Ieee ? AddressKind::SecondaryIeee : AddressKind::SecondaryBle,
                         address.Text());
    }
}

void ChipRecording::ReadBack(host::Connection& connection) {
    host::Session& session = connection.GetSession();
    const host::CcfgInfo ccfg = session.ReadCcfg();
    carried = {{PoolKind::Ieee, ccfg.ieee}, {PoolKind::Ble, ccfg.ble}};
    record.ieee = TextOf(OrNone(ccfg.ieee));
    record.ble = TextOf(OrNone(ccfg.ble));
    const std::vector<std::uint8_t> flash = session.Read(0, session.Info().geometry.SizeBytes());
    record.flashSha256 = host::line::Sha256(flash);
    record.ccfg = Hexadecimal(std::span(flash).last(ccfg.sizeBytes));
    for (const auto& [kind, address] : given) {
        if (carried.at(kind) != address) {
            throw Failure(FailureKind::Difference,
                          fmt::format("The chip was given the {} address {}, and reads back {}",
                                      host::line::KindName(kind), address.Text(), carried.at(kind).Text()));
        }
    }
}

Outcome ChipRecording::End(Outcome outcome) {
    if (outcome.awaitsDatabase) {
        return outcome;  // nothing has happened to the chip
    }
    record.isGood = outcome.exitCode == 0;
    record.cause = record.isGood ? "" : outcome.text.substr(0, outcome.text.find('\n'));
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    KeepTrying(outcome, [this] {
        if (const std::optional<std::string> lost = assignment.Finish(record, carried)) {
            view.Warning("The record is kept in the journal, and the next run with a database sends it: " + *lost);
        }
    });
    return outcome;
}

}  // namespace flash::app
