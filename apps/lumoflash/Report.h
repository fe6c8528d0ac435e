// The page of one run, in a file.
#pragma once

#include <string>
#include <vector>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/RunRecorder.h"
#include "host/picture/RunReport.h"
#include "host/session/Connection.h"

namespace flash::app {

// The lanes of a timeline in the format of Chrome trace events.
std::vector<host::ReportLane> LanesOf(const std::string& traceJson);

struct RunParts {
    const std::string& picture;  // "" when there was no plan
    const RunRecorder& recorder;
};

// What is known of the run, in the file that `--report` names; nothing without it. The connection may be null. Throws
// Failure when the file cannot be written.
void SaveReport(const Options& options, const Outcome& outcome, const host::Connection* connection,
                const RunParts& parts);

}  // namespace flash::app
