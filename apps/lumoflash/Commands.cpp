// The commands, each a few lines over the host library.
#include "apps/lumoflash/Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <functional>

#include "apps/lumoflash/Agreement.h"
#include "apps/lumoflash/ChipIdentity.h"
#include "apps/lumoflash/ChipRecording.h"
#include "apps/lumoflash/ChiplessCommands.h"
#include "apps/lumoflash/FileParts.h"
#include "apps/lumoflash/GdbServerCommand.h"
#include "apps/lumoflash/LetRun.h"
#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/Picture.h"
#include "apps/lumoflash/PoolCommands.h"
#include "apps/lumoflash/ReadCommand.h"
#include "apps/lumoflash/Report.h"
#include "apps/lumoflash/RunRecorder.h"
#include "apps/lumoflash/Texts.h"
#include "host/Failure.h"
#include "host/Words.h"
#include "host/backends/OpenProbe.h"
#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"
#include "host/plan/Dangers.h"

namespace flash::app {
namespace {

using host::Failure;
using host::FailureKind;

// Everything that a command needs, in the order in which it is made and unmade.
class Work {
public:
    Work(const Options& commandOptions, View& commandView, const std::atomic<bool>& interruptFlag)
        : options(commandOptions),
          view(commandView),
          isInterrupted(interruptFlag),
          locations(FindLocations()),
          clientObserver(commandView, isCancelled) {}

    Outcome Run() {
        if (options.command == Command::GdbServer) {
            return ServeGdb();
        }
        if (!options.recording.database.empty() && !options.isDryRun) {
            recording.emplace(options, view);
        }
        // Files first: a mistake in them is found without a chip.
        const host::ProgramImage image = ReadFiles();
        if (!recording) {
            return RunConnected(image);
        }
        Outcome outcome = OutcomeOf([&] { return RunConnected(image); });
        KeepTrying(outcome, [&] { SaveChip(); });  // what is confirmed must not be lost with this program
        return recording->End(outcome);
    }

    void SaveChip() const {
        host::StorageService* storage = connection ? connection->GetProbe().Storage() : nullptr;
        if (storage != nullptr && isChanging) {
            storage->Save();
        }
    }

    void SaveTrace() const {
        const host::TimelineService* timeline = connection ? connection->GetProbe().Timeline() : nullptr;
        if (timeline != nullptr && !options.traceFile.empty()) {
            SaveText(options.traceFile, timeline->TraceJson());
        }
    }

    void SaveReport(const Outcome& outcome) {
        app::SaveReport(options, outcome, connection ? &*connection : nullptr, {picture, recorder});
    }

private:
    host::ProgramImage ReadFiles() {
        host::ReadOptions reading = options.fileOptions;
        if (recording) {
            reading.onContent = [this](const auto& name, auto content) { recording->NoteFile(name, content); };
        }
        const bool hasFiles = options.command == Command::Program || options.command == Command::Verify;
        return hasFiles ? host::ReadProgramFiles(options.files, recorder.Hashing(reading)) : host::ProgramImage();
    }

    Outcome RunConnected(const host::ProgramImage& image) {
        Connect();
        host::Probe& probe = connection->GetProbe();
        const auto start = probe.Now();
        Outcome outcome = RunOnChip(image);
        outcome.elapsed = outcome.elapsed.count() != 0 ? outcome.elapsed : probe.Now() - start;
        return outcome;
    }

    host::ChipUse Use() const {
        return ChangesChip(options) ? host::ChipUse::Change
               : options.isDryRun   ? host::ChipUse::Plan
                                    : host::ChipUse::Look;
    }

    void Connect() {
        session = &connection.emplace(Request(), recorder, isInterrupted).GetSession();
        view.Connected(*connection);
    }

    host::ConnectionRequest Request() const {
        host::ConnectionRequest request{
            .part = options.device,
            .devicesFolder = DevicesFolderFor(options, locations),
            .dataFolder = OrDefault(options.dataFolder, locations.dataFolder),
            .plugin = OrDefault(options.plugin, locations.plugin),
            .properties = options.properties,
            .openProbe = [this](const auto& device) { return OpenProbe(device); },
            .notesFolder = FindNotesFolder(),
        };
        request.properties["FlashVerboseMode"] = std::string(options.isVerbose ? "1" : "0");
        return request;
    }

    // Its clients interrupt the work on the chip, too.
    Outcome ServeGdb() {
        host::ConnectionRequest request = Request();
        request.openProbe = [this](const auto& device) {
            return MakeAttentive(OpenProbe(device), [this] { clientObserver.Look(); });
        };
        connection.emplace(request, clientObserver, isCancelled);
        isChanging = true;
        RunGdbServer(options, *connection, clientObserver, {isCancelled, isInterrupted});
        return {0, "the server has ended", 0, {}};
    }

    std::unique_ptr<host::Probe> OpenProbe(const host::DeviceDescription& device) const {
        std::unique_ptr<host::Probe> probe = host::OpenProbe(ProbeOf(options), device, Use());
        host::ArmFaults(*probe, options.faults);
        return probe;
    }

    Outcome RunOnChip(const host::ProgramImage& image) {
        switch (options.command) {
            case Command::Program:
                return Program(image);
            case Command::Verify:
                return Verify(image);
            case Command::Read:
                return ReadFlash(options, *session);
            case Command::Erase:
                return Erase();
            case Command::BlankCheck:
                return BlankCheck();
            case Command::Info:
                view.ShowInfo(*connection);
                view.ShowCcfg(session->ReadCcfg());
                return {0, "identified", 0, {}};
            case Command::MacRead:
                for (const host::AddressKind kind : options.addressKinds) {
                    view.ShowAddress(kind, session->ReadAddress(kind));
                }
                return {0, fmt::format("addresses read: {}", options.addressKinds.size()), 0, {}};
            case Command::MacWrite:
                isChanging = true;
                session->WriteAddress(options.addressKinds.front(), *options.newAddress);
                view.ShowAddress(options.addressKinds.front(), options.newAddress->Text());
                return {0, "written and read back", 0, {}};
            case Command::PoolReconcile:
                return ReconcileWithChip(options.pool, *connection, view);
            case Command::Reset:
                LetRunFromReset(connection->GetProbe());
                return {0, "running from reset", 0, {}};
            default:
                return ChangeCcfg();
        }
    }

    Outcome Program(const host::ProgramImage& image) {
        IdentifyChip(options, *session, view);
        const auto planStart = connection->GetProbe().Now();
        host::ProgramOptions wanted = ProgramOptionsFor(options, SectorCount());
        if (recording) {
            recording->Begin(*connection, wanted.closing);
        }
        const host::PlannedLoad load = session->Plan(image, wanted);
        const auto planTime = connection->GetProbe().Now() - planStart;
        picture = DrawPicture(options, *connection, image, load, {recorder, isInterrupted});
        if (options.isDryRun || options.isJson) {
            view.ShowPlan(load.plan);
        }
        if (options.isDryRun) {
            return {0, "nothing was touched", 0, {}};
        }
        RequireAgreement(FindDangers(load.options.closing, load.plan.expected, session->Layout()), options.isAgreed,
                         view, isInterrupted);
        isChanging = true;
        const host::LoadResult result = session->Program(load);
        if (recording) {
            recording->ReadBack(*connection);
        }
        if (options.runsAfterwards) {
            LetRunFromReset(connection->GetProbe());
        }
        const char* const running = options.runsAfterwards ? "; running from reset" : "";
        return {0, ProgramVerdict(result, options.program.verification) + LeftOut(load) + running,
                result.programmedBytes, planTime + result.elapsed};
    }

    Outcome Verify(const host::ProgramImage& image) {
        const host::ProgramImage part =
            options.range ? image.Within(options.range->first, options.range->second) : image;
        if (part.IsEmpty()) {
            throw host::BadInput(host::Field::Range, "no byte of the files lies in it");
        }
        return {0, "verified, no difference", session->Verify(part, options.verifyBy), {}};
    }

    Outcome BlankCheck() {
        if (options.range) {
            session->BlankCheck(options.range->first, options.range->second);
            return {0, "the range is blank", options.range->second, {}};
        }
        session->BlankCheck();
        return {0, "flash is blank", 0, {}};
    }

    std::uint32_t SectorCount() const { return session->Info().geometry.sectorCount; }

    Outcome Erase() {
        const auto sectors =
            options.sectors
                ? std::optional(host::ParseSectorList(*options.sectors, SectorCount(), host::Field::Sectors))
                : std::nullopt;
        if (options.isDryRun) {
            view.ShowPlan(session->PlanErase(sectors, options.keepCcfg));
            return {0, "nothing was touched", 0, {}};
        }
        isChanging = true;
        if (sectors) {
            session->EraseSectors(*sectors);
            return {0, "erased " + host::Listed("sector", sectors->Text()), 0, {}};
        }
        options.keepCcfg ? session->EraseAllButCcfg() : session->EraseAll();
        return {0, fmt::format("erased all unprotected sectors{}", options.keepCcfg ? ", CCFG stays" : ""), 0, {}};
    }

    Outcome ChangeCcfg() {
        const host::ClosingChanges changes = ProgramOptionsFor(options, SectorCount()).closing;
        if (!changes.IsAny()) {
            view.ShowCcfg(session->ReadCcfg());
            return {0, "nothing was changed", 0, {}};
        }
        RequireAgreement(FindDangers(changes, {}, session->Layout()), options.isAgreed, view, isInterrupted);
        isChanging = true;
        session->ChangeCcfg(changes);
        view.ShowCcfg(session->ReadCcfg());
        return {0, "CCFG changed and verified", 0, {}};
    }

    const Options& options;
    View& view;
    const std::atomic<bool>& isInterrupted;
    Locations locations;
    RunRecorder recorder{view};
    std::string picture;                   // of the load, when one is wanted
    std::atomic<bool> isCancelled{false};  // by a client of the GDB server
    GdbServerObserver clientObserver;
    std::optional<ChipRecording> recording;  // of one chip of the line
    std::optional<host::Connection> connection;
    host::Session* session = nullptr;  // the connection's
    bool isChanging = false;           // from the first step on that may change the chip
};

}  // namespace

int RunCommand(const Options& options, View& view, const std::atomic<bool>& isInterrupted) {
    view.Started(options);
    // Before all else: the report of a run that failed is written, too.
    Outcome outcome = OutcomeOf([&] { return RefuseFilesWithTwoParts(options), Outcome(); });
    if (outcome.exitCode == 0 && IsChipless(options)) {
        outcome = OutcomeOf([&] { return RunChipless(options, view, isInterrupted); });
    } else if (outcome.exitCode == 0) {
        Work work(options, view, isInterrupted);
        outcome = OutcomeOf([&] { return work.Run(); });
        if (MayHaveTouchedTheChip(outcome)) {
            KeepTrying(outcome, [&] { work.SaveChip(); });
            KeepTrying(outcome, [&] { work.SaveTrace(); });
        }
        KeepTrying(outcome, [&] { work.SaveReport(outcome); });
    }
    view.Finished(outcome);
    return outcome.exitCode;
}

}  // namespace flash::app
