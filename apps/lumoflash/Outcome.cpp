// Failures become exit codes and words here.
#include "apps/lumoflash/Outcome.h"

#include <fmt/format.h>

#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#include "apps/lumoflash/FieldOptions.h"
#include "host/Failure.h"
#include "host/line/Pool.h"

namespace flash::app {

using host::Failure;
using host::FailureKind;

bool MayHaveTouchedTheChip(const Outcome& outcome) {
    return outcome.exitCode != static_cast<int>(FailureKind::BadInput) &&
           outcome.exitCode != static_cast<int>(FailureKind::Unreachable);
}

std::string WordsOf(const std::exception& error) {
    if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
        return fmt::format("{}: {}", file->path1().string(), file->code().message());
    }
    if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
        return system->code().message();
    }
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return "There is not enough memory";
    }
    if (dynamic_cast<const std::logic_error*>(&error) != nullptr) {
        return "A mistake in this program has come to light; please report what you have done";
    }
    return error.what();
}

Outcome OutcomeOf(const std::function<Outcome()>& work) {
    const auto failed = [](FailureKind kind, const std::string& text) {
        return Outcome{static_cast<int>(kind), text, 0, {}};
    };
    try {
        return work();
    } catch (const host::line::SuspectChip& failure) {
        Outcome outcome = failed(failure.Kind(), InWords(failure.Text()));
        outcome.stopsSlot = true;
        return outcome;
    } catch (const host::line::DatabaseLost& failure) {
        Outcome outcome = failed(failure.Kind(), InWords(failure.Text()));
        outcome.awaitsDatabase = true;
        return outcome;
    } catch (const Failure& failure) {
        return failed(failure.Kind(), InWords(failure.Text()));
    } catch (const std::exception& error) {
        return failed(FailureKind::Operation, WordsOf(error));
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
    if (outcome.exitCode != 0) {
        outcome.text += "\nBesides: " + kept.text;
    } else {
        outcome.text = kept.text + (outcome.text.empty() ? "" : "\nBefore that: " + outcome.text);
        outcome.exitCode = static_cast<int>(FailureKind::Operation);
    }
}

}  // namespace flash::app
