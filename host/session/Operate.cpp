// Whatever way a step fails, it ends as one Failure.
#include "host/session/Operate.h"

#include <fmt/format.h>

#include "host/Failure.h"
#include "host/plugin/PluginModule.h"

namespace flash::host {
namespace {

[[noreturn]] void FailOperation(PluginServices& services, const std::string& attempt, const std::string& pluginText) {
    services.EndOperation();
    if (services.Record().wasInterrupted) {
        throw Failure(FailureKind::Interrupted,
                      fmt::format("{}: interrupted; the same command again starts anew", attempt));
    }
    FieldText text = fmt::format("{}: {}", attempt, pluginText);
    if (const std::string& trouble = services.Record().FirstTrouble(); pluginText.find(trouble) == std::string::npos) {
        text += "\n" + trouble;
    }
    FailureKind kind = FailureKind::Operation;
    if (const std::optional<MailboxReport> report = services.ExplainMailbox()) {
        text += "\n" + report->text;
        kind = report->isVerification || services.Record().SawVerificationFailure() ? FailureKind::Difference : kind;
    }
    throw Failure(kind, text);
}

void RequireNoComplaints(PluginServices& services, const std::string& attempt) {
    if (services.Record().Complaints().empty()) {
        return;
    }
    FieldText text = fmt::format("{}: reported as done, but not without errors", attempt);
    for (const FieldText& complaint : services.Record().Complaints()) {
        text += "\n" + complaint;
    }
    if (const auto report = services.ExplainMailbox(); report && report->isFailure) {
        text += "\n" + report->text;
    }
    throw Failure(FailureKind::Operation, text);
}

}  // namespace

void Operate(PluginServices& services, const std::string& attempt, Stage stage, std::uint64_t bytes,
             const std::function<void()>& work) {
    services.BeginOperation(stage, bytes);
    try {
        work();
        if (services.IsFlashloaderRunning()) {
            services.Settle();
        }
    } catch (const PluginError& error) {
        FailOperation(services, attempt, error.what());
    } catch (const ProbeError& error) {
        FailOperation(services, attempt, error.what());
    }
    services.EndOperation();
    RequireNoComplaints(services, attempt);
}

}  // namespace flash::host
