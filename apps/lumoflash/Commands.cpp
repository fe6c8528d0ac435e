// The commands, each a few lines over the host library.
#include "apps/lumoflash/Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <functional>

#include "apps/lumoflash/Agreement.h"
#include "apps/lumoflash/FileParts.h"
#include "apps/lumoflash/GdbServerCommand.h"
#include "apps/lumoflash/LetRun.h"
#include "apps/lumoflash/LineCommand.h"
#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/Picture.h"
#include "apps/lumoflash/Report.h"
#include "apps/lumoflash/RunRecorder.h"
#include "apps/lumoflash/Texts.h"
#include "apps/lumoflash/Validation.h"
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

std::filesystem::path OrDefault(const std::filesystem::path& given, const std::filesystem::path& standard) {
    return given.empty() ? standard : given;
}

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
        if (options.command == Command::Devices) {
            const host::DeviceDescriptions found = host::LoadDeviceDescriptions(DevicesFolder());
            std::ranges::for_each(found.problems, [this](const host::FieldText& text) { view.Warning(text); });
            view.ShowDevices(found.devices);
            return {0, host::Counted(found.devices.size(), "part"), 0, {}};
        }
        RefuseFilesWithTwoParts(options);
        if (options.command == Command::GdbServer) {
            return ServeGdb();
        }
        // Files first: a mistake in them is found without a chip.
        const bool hasFiles = options.command == Command::Program || options.command == Command::Verify;
        const host::ProgramImage image =
            hasFiles ? host::ReadProgramFiles(options.files, options.fileOptions) : host::ProgramImage();
        Connect();
        host::Probe& probe = connection->GetProbe();
        const auto start = probe.Now();
        Outcome outcome = RunOnChip(image);
        outcome.elapsed = outcome.elapsed.count() != 0 ? outcome.elapsed : probe.Now() - start;
        return outcome;
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
        app::SaveReport(options, outcome, connection ? &*connection : nullptr, {picture, recorder.Phases()});
    }

private:
    std::filesystem::path DevicesFolder() const {
        return OrDefault(options.devicesFolder, locations.dataFolder / "devices");
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
            .devicesFolder = DevicesFolder(),
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
                return Read();
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
            case Command::Reset:
                LetRunFromReset(connection->GetProbe());
                return {0, "running from reset", 0, {}};
            default:
                return ChangeCcfg();
        }
    }

    Outcome Program(const host::ProgramImage& image) {
        const auto planStart = connection->GetProbe().Now();
        const host::PlannedLoad load = session->Plan(image, ProgramOptionsFor(options, SectorCount()));
        const auto planTime = connection->GetProbe().Now() - planStart;
        picture = DrawPicture(options, connection->PartName(), image, load, session->Layout());
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

    Outcome Read() {
        const auto range = options.range.value_or(std::pair{std::uint32_t{0}, session->Info().geometry.SizeBytes()});
        const std::vector<std::uint8_t> bytes = session->Read(range.first, range.second);
        host::ProgramImage image;
        image.Add(range.first, bytes, {"flash", ""});
        const std::vector<std::uint8_t> content = host::PrintProgram(image, options.outFormat);
        if (options.outFile == "-") {
            std::fwrite(content.data(), 1, content.size(), stdout);
        } else {
            host::SaveFile(options.outFile, content);
        }
        return {0, "read", bytes.size(), {}};
    }

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
    std::optional<host::Connection> connection;
    host::Session* session = nullptr;  // the connection's
    bool isChanging = false;           // from the first step on that may change the chip
};

}  // namespace

int RunCommand(const Options& options, View& view, const std::atomic<bool>& isInterrupted) {
    view.Started(options);
    if (options.command == Command::ValidatePlugin || options.command == Command::LineRun) {
        const Outcome outcome = OutcomeOf([&] {
            return options.command == Command::LineRun ? RunLine(options, isInterrupted)
                                                       : Validate(options.validation, view, isInterrupted);
        });
        view.Finished(outcome);
        return outcome.exitCode;
    }
    Work work(options, view, isInterrupted);
    Outcome outcome = OutcomeOf([&] { return work.Run(); });
    const auto isTouched = [&] {
        return outcome.exitCode != static_cast<int>(FailureKind::BadInput) &&
               outcome.exitCode != static_cast<int>(FailureKind::Unreachable);
    };
    if (isTouched()) {
        KeepTrying(outcome, [&] { work.SaveChip(); });
        KeepTrying(outcome, [&] { work.SaveTrace(); });
    }
    KeepTrying(outcome, [&] { work.SaveReport(outcome); });
    view.Finished(outcome);
    return outcome.exitCode;
}

}  // namespace flash::app
