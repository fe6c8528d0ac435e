// Events become counts and progress.
#include "host/services/OperationRecord.h"

namespace flash::host {

void OperationRecord::Begin(Stage stageOfProgramming, std::uint64_t bytesToProgram) {
    progress.Finish();
    programStage = stageOfProgramming;
    programBytes = bytesToProgram;
    complaints.clear();
    refusal.reset();
    messages.clear();
    sawVerificationFailure = false;
    wasInterrupted = false;
    programmedBytes = 0;
    checkedBytes = 0;
}

void OperationRecord::Take(const std::optional<MailboxEvent>& event) {
    if (!event) {
        return;
    }
    switch (event->kind) {
        case MailboxEvent::Kind::EraseStarted:
            progress.Start(Stage::Erase, event->bytes);
            break;
        case MailboxEvent::Kind::ProgramStarted:
            if (!progress.IsIn(programStage)) {
                progress.Start(programStage, programBytes);
            }
            break;
        case MailboxEvent::Kind::Erased:
            if (progress.IsIn(Stage::Erase)) {
                progress.Finish(event->bytes);
            }
            break;
        case MailboxEvent::Kind::Programmed:
            programmedBytes += event->bytes;
            checkedBytes += event->isChecked ? event->bytes : 0;
            if (progress.IsIn(programStage)) {
                progress.Advance(event->bytes);
            }
            break;
        case MailboxEvent::Kind::VerificationFailed:
            sawVerificationFailure = true;
            break;
    }
}

void OperationRecord::TakeMessage(const std::string& text) {
    messages.push_back(text);
    observer.PluginMessage(text);
}

void OperationRecord::TakeError(const std::string& text) {
    complaints.emplace_back(text);
    observer.PluginError(text);
}

}  // namespace flash::host
