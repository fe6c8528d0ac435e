// The core on its own, after the work on its flash.
#pragma once

#include "host/probe/Probe.h"

namespace flash::app {

// What faults at once is told; nobody watches it any longer. Throws Failure, also for a probe that cannot reset.
void LetRunFromReset(host::Probe& probe);

}  // namespace flash::app
