// The checker behind the module's export: what was found lives as long as the module is loaded.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "validator/hostcheck/Findings.h"
#include "validator/hostcheck/Plan.h"
#include "validator/hostcheck/WatchedDevice.h"

namespace flash::hostcheck {

class CheckModule {
public:
    CheckModule(Factory pluginFactory, const Plan& checkPlan);
    ~CheckModule();
    CheckModule(const CheckModule&) = delete;
    CheckModule& operator=(const CheckModule&) = delete;

    // As the export.
    const char* Create(const char* deviceName, const char* secondText, const char* thirdText, IFlashHost* host,
                       IFlashDevice2** device);
    // What is known when the module goes: a device that is not released by now is lost.
    void End();
    Findings& Found() { return findings; }

private:
    const char* CreateWatched(const char* deviceName, IFlashHost* host, IFlashDevice2** device);

    // A host that ends without unloading the module leaves the last one that was written.
    bool WriteReport(Moment moment);

    const Factory factory;
    Plan plan;
    std::mutex reportMutex;
    Findings findings;
    std::mutex mutex;
    std::vector<std::unique_ptr<WatchedDevice>> devices;
    bool hasEnded = false;
};

}  // namespace flash::hostcheck
