// Failures become exit codes and words here.
#include "apps/lumoflash/Outcome.h"

#include "apps/lumoflash/FieldOptions.h"
#include "host/Failure.h"

namespace flash::app {

using host::Failure;
using host::FailureKind;

Outcome OutcomeOf(const std::function<Outcome()>& work) {
    const auto failed = [](FailureKind kind, const std::string& text) {
        return Outcome{static_cast<int>(kind), text, 0, {}};
    };
    try {
        return work();
    } catch (const Failure& failure) {
        return failed(failure.Kind(), InWords(failure.Text()));
    } catch (const std::exception& error) {
        return failed(FailureKind::Operation, error.what());
    }
}

void KeepTrying(Outcome& outcome, const std::function<void()>& step) {
    const Outcome kept = OutcomeOf([&] {
        step();
        return Outcome{};
    });
    if (kept.exitCode == 0) {
        return;
    }
    const char* joint = outcome.exitCode != 0 ? "\nBesides: " : ", but: ";
    outcome.text = outcome.text.empty() ? kept.text : outcome.text + joint + kept.text;
    outcome.exitCode = outcome.exitCode != 0 ? outcome.exitCode : static_cast<int>(FailureKind::Operation);
}

}  // namespace flash::app
