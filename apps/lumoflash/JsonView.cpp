// One JSON object per event and line on standard output; docs/lumoflash-events.schema.json describes them. Errors are
// on standard error, too, for whoever watches.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "apps/lumoflash/FieldOptions.h"
#include "apps/lumoflash/Texts.h"
#include "apps/lumoflash/Version.h"
#include "apps/lumoflash/View.h"

namespace flash::app {
namespace {

using host::Stage;
using nlohmann::json;

double Seconds(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

json SectorsOf(const host::SectorSet& sectors) {
    json list = json::array();
    for (std::uint32_t sector = 0; sector < sectors.SectorCount(); ++sector) {
        if (sectors.Contains(sector)) {
            list.push_back(sector);
        }
    }
    return list;
}

class JsonView final : public View {
public:
    void Started(const Options& options) override {
        Emit({{"event", "start"}, {"command", CommandName(options.command)}, {"version", VersionNumber()}});
    }
    void Connected(const host::Connection& connection) override {
        const host::ChipInfo& info = connection.GetSession().Info();
        Emit({{"event", "chip"},
              {"device", connection.PartName()},
              {"chip", connection.GetProbe().Describe()},
              {"plugin", connection.Plugin().Path().string()},
              {"flashBytes", info.geometry.SizeBytes()},
              {"sectorBytes", info.geometry.sectorSizeBytes},
              {"sectors", info.geometry.sectorCount},
              {"flash", info.flashText},
              {"ram", info.ramText},
              {"revision", info.revisionText}});
    }
    void StageStarted(Stage stage, std::uint64_t totalBytes) override {
        total = totalBytes;
        EmitStage(stage, "start", 0, {});
    }
    void StageAdvanced(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        EmitStage(stage, "progress", doneBytes, elapsed);
    }
    void StageFinished(Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override {
        EmitStage(stage, "end", doneBytes, elapsed);
    }
    void PluginMessage(const std::string& text) override { EmitMessage("plugin", "info", text); }
    void PluginError(const std::string& text) override { EmitMessage("plugin", "error", text); }
    void Note(const std::string& text) override { EmitMessage("host", "info", text); }
    void Warning(const host::FieldText& text) override { EmitMessage("host", "warning", InWords(text)); }

    void ShowPlan(const host::WritePlan& plan) override {
        using host::SectorPlan;
        json reasons = json::array();
        for (const auto& [reason, pages] : host::SectorsByReason(plan)) {
            reasons.push_back({{"reason", reason}, {"pages", SectorsOf(pages)}});
        }
        Emit({{"event", "plan"},
              {"erased", SectorsOf(plan.Sectors(&SectorPlan::isErased))},
              {"written", SectorsOf(plan.Sectors(&SectorPlan::isWritten))},
              {"kept", SectorsOf(plan.Sectors(&SectorPlan::keepsRest))},
              {"skipped", SectorsOf(plan.Sectors(&SectorPlan::isSkipped))},
              {"skippedFill", SectorsOf(plan.Sectors(&SectorPlan::isOnlyFill))},
              {"unchanged", SectorsOf(plan.Sectors(&SectorPlan::isUnchanged))},
              {"reasons", reasons},
              {"keepsCcfg", plan.keepsCcfg},
              {"replacesCcfg", plan.replacesCcfg},
              {"writtenBytes", plan.WrittenBytes()},
              {"fileBytes", plan.ExpectedBytes()}});
    }
    void ShowAddress(host::AddressKind kind, const std::string& address) override {
        Emit({{"event", "address"}, {"kind", AddressName(kind)}, {"address", address}});
    }
    void ShowCcfg(const host::CcfgInfo& ccfg) override {
        Emit({{"event", "ccfg"},
              {"bytes", ccfg.sizeBytes},
              {"address", ccfg.address},
              {"bootloaderDisabled", ccfg.isBootloaderDisabled},
              {"debugDisabled", ccfg.isDebugDisabled},
              {"protected", SectorsOf(ccfg.protectedSectors)}});
    }
    void ShowInfo(const host::Connection&) override {}  // `Connected` has told it
    void ShowDevices(const std::vector<host::DeviceDescription>& devices) override {
        for (const host::DeviceDescription& device : devices) {
            Emit({{"event", "device"},
                  {"device", device.name},
                  {"summary", device.summary},
                  {"sectorBytes", device.sectorSizeBytes},
                  {"sectors", device.sectorCount}});
        }
    }
    void ShowPool(const PoolCounts& counts) override {
        for (const auto& [kind, states] : counts) {
            json event{{"event", "pool"}, {"kind", host::line::KindName(kind)}};
            for (const host::line::AddressState state : host::line::kAddressStates) {
                const auto count = states.find(state);
                event[std::string(host::line::StateName(state))] = count == states.end() ? 0 : count->second;
            }
            Emit(event);
        }
    }
    void ShowPoolAddress(const host::line::PoolAddress& address) override {
        Emit({{"event", "pool address"},
              {"kind", host::line::KindName(address.kind)},
              {"address", address.address.Text()},
              {"state", host::line::StateName(address.state)},
              {"chip", address.chip.value_or("")},
              {"station", address.station.value_or("")},
              {"time", address.time.value_or("")},
              {"note", address.note.value_or("")}});
    }
    void ShowRecord(const host::line::Record& record) override {
        Emit({{"event", "record"}, {"record", json::parse(host::line::RecordJson(record))}});
    }
    void Tell(const std::string& change) override { EmitMessage("host", "info", change); }
    void ListCheck(const validator::Check& check) override {
        Emit({{"event", "check"}, {"topic", check.topic}, {"name", check.name}, {"demand", check.demand}});
    }
    void ShowCheck(const validator::CheckResult& result) override {
        json event{{"event", "check"},
                   {"topic", result.topic},
                   {"name", result.name},
                   {"demand", result.demand},
                   {"outcome", NameOf(result.outcome)}};
        if (result.outcome != validator::Outcome::Passed) {
            event["expected"] = result.expected;
            event["found"] = result.found;
        }
        Emit(event);
    }
    bool Agrees(const std::vector<std::string>&, const std::atomic<bool>&) override { return false; }

    void Finished(const Outcome& outcome) override {
        json event{{"event", "result"},    {"ok", outcome.exitCode == 0}, {"exitCode", outcome.exitCode},
                   {"text", outcome.text}, {"bytes", outcome.bytes},      {"seconds", Seconds(outcome.elapsed)}};
        if (outcome.stopsSlot) {
            event["stopsSlot"] = true;
        }
        if (outcome.awaitsDatabase) {
            event["awaitsDatabase"] = true;
        }
        if (outcome.bytes != 0 && outcome.elapsed.count() > 0) {
            event["bytesPerSecond"] = static_cast<double>(outcome.bytes) / Seconds(outcome.elapsed);
        }
        Emit(event);
        if (outcome.exitCode != 0) {
            std::fprintf(stderr, "%s\n", ErrorText(outcome.text).c_str());
        }
    }

private:
    // A reader that goes away is noticed at the end; it must not stop the work on the chip.
    static void Emit(const json& event) {
        const std::string line = event.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
    }
    static void EmitMessage(const char* source, const char* level, const std::string& text) {
        Emit({{"event", "message"}, {"source", source}, {"level", level}, {"text", text}});
    }
    void EmitStage(Stage stage, const char* state, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) const {
        Emit({{"event", "phase"},
              {"phase", StageName(stage)},
              {"state", state},
              {"doneBytes", doneBytes},
              {"totalBytes", total},
              {"seconds", Seconds(elapsed)}});
    }

    std::uint64_t total = 0;
};

}  // namespace

std::unique_ptr<View> MakeJsonView() { return std::make_unique<JsonView>(); }

}  // namespace flash::app
