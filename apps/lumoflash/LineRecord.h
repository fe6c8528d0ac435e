// The verdicts that a line's programs cannot write down themselves.
#pragma once

#include "host/line/FileHashes.h"
#include "host/line/Line.h"

namespace flash::app {

// Of the slot's last chip, which is bad: its program ended without a verdict, or its label was not made. Throws Failure
// when it can be kept nowhere.
void RecordBadChip(const host::line::Job& job, const host::line::FileHashes& hashes, const host::line::Slot& slot);

}  // namespace flash::app
