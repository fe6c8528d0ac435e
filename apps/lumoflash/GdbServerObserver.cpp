// All of the view's words go to standard error but what is asked for, and a server asks for nothing.
#include "apps/lumoflash/GdbServerObserver.h"

#include <utility>

#include "host/gdb/ByteStream.h"

namespace flash::app {
namespace {

class AttentiveProbe final : public host::Probe {
public:
    AttentiveProbe(std::unique_ptr<host::Probe> ownProbe, std::function<void()> lookAtClient)
        : probe(std::move(ownProbe)), look(std::move(lookAtClient)) {}

    std::string Describe() const override { return probe->Describe(); }
    void SelectRoute(const std::string& route) override { probe->SelectRoute(route); }
    void Run() override { probe->Run(); }
    void Halt() override { probe->Halt(); }
    host::CoreState ReadCoreState() override { return probe->ReadCoreState(); }
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) override {
        look();
        probe->ReadMemory(address, bytes, elementSize);
    }
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t elementSize) override {
        look();
        probe->WriteMemory(address, bytes, elementSize);
    }
    std::uint64_t ReadRegister(std::uint32_t registerNumber) override { return probe->ReadRegister(registerNumber); }
    void WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override {
        probe->WriteRegister(registerNumber, value);
    }
    void Pause(std::chrono::microseconds duration) override {
        look();
        probe->Pause(duration);
    }
    bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) override {
        look();
        return probe->PauseWhileWordIs(address, value, bound);
    }
    std::chrono::nanoseconds Now() override { return probe->Now(); }

    host::TimelineService* Timeline() override { return probe->Timeline(); }
    host::StorageService* Storage() override { return probe->Storage(); }
    host::AnswerService* Answers() override { return probe->Answers(); }
    host::FaultService* Faults() override { return probe->Faults(); }
    host::DebugService* Debugging() override { return probe->Debugging(); }

private:
    std::unique_ptr<host::Probe> probe;
    std::function<void()> look;
};

}  // namespace

void GdbServerObserver::Look() {
    try {
        if (attention != nullptr) {
            attention->Look();
        }
    } catch (const host::gdb::StreamError&) {
        isCancelled = true;
    }
}

void GdbServerObserver::StageStarted(host::Stage stage, std::uint64_t totalBytes) {
    view.StageStarted(stage, totalBytes);
    Look();
}

void GdbServerObserver::StageAdvanced(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) {
    view.StageAdvanced(stage, doneBytes, elapsed);
    Look();
}

void GdbServerObserver::StageFinished(host::Stage stage, std::uint64_t doneBytes, std::chrono::nanoseconds elapsed) {
    view.StageFinished(stage, doneBytes, elapsed);
    Look();
}

std::unique_ptr<host::Probe> MakeAttentive(std::unique_ptr<host::Probe> probe, std::function<void()> look) {
    return std::make_unique<AttentiveProbe>(std::move(probe), std::move(look));
}

}  // namespace flash::app
