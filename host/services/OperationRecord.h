// What one operation of the plug-in has done and told, as far as a host can see it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/services/MailboxWatch.h"
#include "host/services/Observer.h"
#include "host/services/Progress.h"

namespace flash::host {

class OperationRecord {
public:
    // Both must outlive it.
    OperationRecord(Observer& hostObserver, Probe& clock) : progress(hostObserver, clock), observer(hostObserver) {}

    // Forgets the operation before. What the next one programs counts as that stage, of so many bytes.
    void Begin(Stage stageOfProgramming, std::uint64_t bytesToProgram);
    void End() { progress.Finish(); }

    void Take(const std::optional<MailboxEvent>& event);
    void TakeMessage(const std::string& text);  // the plug-in's
    void TakeError(const std::string& text);    // likewise

    // A service that failed; the first one is the likely cause of all that the plug-in says afterwards.
    void TakeRefusal(const FieldText& text) { refusal = refusal ? refusal : text; }
    const std::optional<FieldText>& Refusal() const { return refusal; }

    // What went wrong although the operation may report success.
    void Complain(const FieldText& text) { complaints.push_back(text); }

    const std::vector<FieldText>& Complaints() const { return complaints; }  // errors of the plug-in are among them
    const std::vector<std::string>& Messages() const { return messages; }
    bool SawVerificationFailure() const { return sawVerificationFailure; }
    std::uint64_t ProgrammedBytes() const { return programmedBytes; }
    std::uint64_t CheckedBytes() const { return checkedBytes; }  // of these, compared by CRC on the target
    Stage ProgramStage() const { return programStage; }

    Progress progress;
    bool wasInterrupted = false;

private:
    Observer& observer;
    Stage programStage = Stage::Program;
    std::uint64_t programBytes = 0;
    std::vector<FieldText> complaints;
    std::optional<FieldText> refusal;
    std::vector<std::string> messages;
    bool sawVerificationFailure = false;
    std::uint64_t programmedBytes = 0, checkedBytes = 0;
};

}  // namespace flash::host
