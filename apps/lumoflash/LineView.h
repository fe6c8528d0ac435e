// What a line shows: on a terminal a table that is drawn again and again, on a pipe a line for each chip, to a program
// an event for each thing that happens.
#pragma once

#include <memory>

#include "apps/lumoflash/Options.h"
#include "host/line/Station.h"

namespace flash::app {

// The job must outlive it.
std::unique_ptr<host::line::StationView> MakeLineView(const Options& options);

}  // namespace flash::app
