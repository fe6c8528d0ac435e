// The slots of a job file.
#pragma once

#include <vector>

#include "apps/lumoflash/JobValues.h"
#include "host/line/Job.h"

namespace flash::app {

// Throws Failure (BadInput), also for two slots of one name or with one probe.
std::vector<host::line::SlotPlan> ReadSlots(const toml::node& node, const TomlFile& file, const JobValues& values);

}  // namespace flash::app
