// The way back: what a failed operation was to leave as it is and may have erased is programmed again, or told.
#include <fmt/format.h>

#include "host/Failure.h"
#include "host/session/Operate.h"
#include "host/session/Session.h"
#include "host/settings/EraseSetting.h"
#include "host/settings/OptionProperties.h"

namespace flash::host {

void Session::OrPutBack(const Kept& kept, ScopedSettings& scope, const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure&) {
        PutBack(kept, scope);
        throw;
    }
}

// Never throws a Failure: another one is about to be told. The plug-in's own copies are gone by now, and its options
// would change what is programmed.
void Session::PutBack(const Kept& kept, ScopedSettings& scope) {
    scope.SwitchOff(ClosingOptions());
    scope.SwitchOff(WriteOptions());
    if (!kept.IsAnything()) {
        return;
    }
    WarnIfFails(LossOf(kept, layout), [&] {
        const std::uint32_t address = info.geometry.LastSectorAddress();
        const std::uint32_t length = info.geometry.sectorSizeBytes;
        const std::vector<std::uint8_t> present = reader.Bytes(address, length);
        const std::vector<std::uint8_t> wanted = LastSectorWith(kept, present, layout);
        if (present == wanted) {
            return;
        }
        scope.Set("CrcVerify", "1");
        scope.Set("FlashEraseSetting", EraseSettingText(EraseChoice::Retain));
        Operate(services, "Putting the last sector back", Stage::Close, length, [&] {
            plugin.NotifyPhase(kPhaseLoadStarts);
            plugin.Write(wanted.data(), address, length);
            plugin.NotifyPhase(kPhaseLoadFinished);
        });
        if (reader.Bytes(address, length) != wanted) {
            throw Failure(FailureKind::Difference, "Putting the last sector back: flash is not as it was");
        }
    });
}

void Session::WarnIfFails(const std::string& consequence, const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        observer.Consequence(consequence + ": " + failure.Text());
    }
}

}  // namespace flash::host
