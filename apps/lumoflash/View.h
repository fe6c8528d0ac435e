// What the program shows: to a person as text, to another program as JSON.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"
#include "host/devices/DeviceDescription.h"
#include "host/line/Record.h"
#include "host/plan/WritePlan.h"
#include "host/services/Observer.h"
#include "host/session/Connection.h"
#include "validator/Check.h"
#include "validator/CheckRunner.h"

namespace flash::app {

using PoolCounts = std::map<host::line::PoolKind, std::map<host::line::AddressState, std::uint64_t>>;

class View : public host::Observer {
public:
    virtual void Started(const Options& options) = 0;
    virtual void Connected(const host::Connection& connection) = 0;
    virtual void ShowPlan(const host::WritePlan& plan) = 0;
    virtual void ShowAddress(host::AddressKind kind, const std::string& address) = 0;
    virtual void ShowCcfg(const host::CcfgInfo& ccfg) = 0;
    virtual void ShowInfo(const host::Connection& connection) = 0;
    virtual void ShowPool(const PoolCounts& counts) = 0;
    virtual void ShowPoolAddress(const host::line::PoolAddress& address) = 0;
    virtual void ShowRecord(const host::line::Record& record) = 0;
    virtual void Tell(const std::string& change) = 0;  // of the pool
    virtual void ListCheck(const validator::Check& check) = 0;
    virtual void ShowCheck(const validator::CheckResult& result) = 0;
    virtual void ShowDevices(const std::vector<host::DeviceDescription>& devices) = 0;

    // True when the user agrees to what cannot be taken back. Only asks a person; an interruption ends the question.
    virtual bool Agrees(const std::vector<std::string>& dangers, const std::atomic<bool>& isInterrupted) = 0;

    virtual void Finished(const Outcome& outcome) = 0;
};

std::unique_ptr<View> MakeTextView(const Options& options);
std::unique_ptr<View> MakeJsonView();

}  // namespace flash::app
