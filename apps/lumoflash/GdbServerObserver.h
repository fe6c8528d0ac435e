// Shows what happens on the chip as every command does, and looks after the client meanwhile.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "apps/lumoflash/View.h"
#include "host/gdb/ServedChip.h"
#include "host/probe/Probe.h"

namespace flash::app {

class GdbServerObserver final : public host::Observer {
public:
    GdbServerObserver(View& shownView, std::atomic<bool>& cancelFlag) : view(shownView), isCancelled(cancelFlag) {}

    // Null when nobody waits.
    void Attend(host::gdb::Attention* waiting) { attention = waiting; }

    // A client that is gone cancels the work: nobody waits for it any more, and no exception may pass the plug-in.
    void Look();

    void StageStarted(host::Stage stage, std::uint64_t totalBytes) override;
    void StageAdvanced(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override;
    void StageFinished(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) override;
    void PluginMessage(const std::string& text) override { view.PluginMessage(text); }
    void PluginError(const std::string& text) override { view.PluginError(text); }
    void Note(const std::string& text) override { view.Note(text); }
    void Warning(const host::FieldText& text) override { view.Warning(text); }

private:
    View& view;
    std::atomic<bool>& isCancelled;
    host::gdb::Attention* attention = nullptr;
};

// The probe, with a look at the client at each access: erasing and waiting have no progress to tell. `look` throws
// nothing.
std::unique_ptr<host::Probe> MakeAttentive(std::unique_ptr<host::Probe> probe, std::function<void()> look);

}  // namespace flash::app
