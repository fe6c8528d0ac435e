// Whatever way a step fails, it ends as one Failure.
#include "host/session/Operate.h"

#include <fmt/format.h>

#include "host/Failure.h"
#include "host/plugin/PluginModule.h"

namespace flash::host {
namespace {

// The most telling of what is known: an answer of the flashloader, a service that failed, a flashloader that never
// answered. What else is known comes after all of them: a plug-in knows the least.
FieldText CauseOf(PluginServices& services, const std::optional<MailboxReport>& report, const FieldText& otherwise) {
    if (report && report->isAnswer) {
        return report->cause;
    }
    if (services.Record().Refusal()) {
        return *services.Record().Refusal();
    }
    return report && report->isFailure ? report->cause : otherwise;
}

FieldText WithDetails(const std::string& attempt, const FieldText& cause, const std::string& said,
                      const std::optional<MailboxReport>& report) {
    FieldText text = attempt + ": " + cause;
    if (!said.empty() && said != cause.Plain()) {
        text += "\nThe plug-in said: " + said;
    }
    if (report) {
        text += "\n" + report->text;
    }
    return text;
}

[[noreturn]] void FailOperation(PluginServices& services, const std::string& attempt, const PluginAnswer& answer) {
    services.EndOperation();
    if (services.Record().wasInterrupted) {
        throw Failure(FailureKind::Interrupted,
                      fmt::format("{}: interrupted; the same command again starts anew", attempt));
    }
    const std::optional<MailboxReport> report = services.ExplainMailbox();
    const bool isDifference = report && (report->isVerification || services.Record().SawVerificationFailure());
    throw Failure(isDifference ? FailureKind::Difference : FailureKind::Operation,
                  WithDetails(attempt, CauseOf(services, report, answer.cause), answer.said, report));
}

void RequireNoComplaints(PluginServices& services, const std::string& attempt) {
    const std::vector<FieldText>& complaints = services.Record().Complaints();
    if (complaints.empty()) {
        return;
    }
    const std::optional<MailboxReport> report = services.ExplainMailbox();
    FieldText text = attempt + ": " + CauseOf(services, report, complaints.front()) +
                     "\nIt was reported as done, but not without errors:";
    for (const FieldText& complaint : complaints) {
        text += "\n" + complaint;
    }
    if (report && report->isFailure) {
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
        FailOperation(services, attempt, error.Answer());
    } catch (const ProbeError& error) {
        FailOperation(services, attempt, {error.what(), ""});
    }
    services.EndOperation();
    RequireNoComplaints(services, attempt);
}

}  // namespace flash::host
