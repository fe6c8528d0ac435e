// The verdicts that a line's programs cannot write down themselves.
#pragma once

#include <string>
#include <vector>

#include "host/line/FileHashes.h"
#include "host/line/Line.h"

namespace flash::app {

// Of the slot's last chip, which is bad: its program ended without a verdict, or its label was not made. In the journal
// alone, so that no slot waits for the database. Throws Failure when it cannot be kept.
void RecordBadChip(const host::line::Job& job, const host::line::FileHashes& hashes, const host::line::Slot& slot);

// When the line is over: what the journal has and the database has not. Gives what is wrong, one line each.
std::vector<std::string> SendRecords(const host::line::Job& job);

}  // namespace flash::app
