// What a load does to the chip's own CCFG.
#pragma once

#include "host/ccfg/Ccfg.h"
#include "host/ccfg/ClosingChanges.h"
#include "host/files/ProgramImage.h"
#include "host/plan/WritePlan.h"
#include "host/settings/ProgramOptions.h"

namespace flash::host {

// Whether the load would erase the chip's CCFG and brings nothing for its place: hardly ever meant, and the chip may
// not start again. Which of both the options say does not count.
bool WouldLoseCcfg(const ProgramImage& image, const ProgramOptions& options, const CcfgInfo& ccfg,
                   const FlashGeometry& geometry);

// Whether something else stands in its place afterwards.
bool ReplacesCcfg(const WritePlan& plan, const ProgramImage& image, const CcfgInfo& ccfg);

// The sectors that the chip's CCFG protects after the load.
SectorSet ProtectedAfter(const WritePlan& plan, const ClosingChanges& closing, const LastSector& before,
                         const CcfgLayout& layout);

}  // namespace flash::host
