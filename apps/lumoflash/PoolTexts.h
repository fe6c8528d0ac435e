// The pool and the records in words for people.
#pragma once

#include <string>

#include "apps/lumoflash/View.h"

namespace flash::app {

// Whole lines.
std::string PoolText(const PoolCounts& counts);
std::string PoolAddressText(const host::line::PoolAddress& address);
std::string RecordText(const host::line::Record& record);

}  // namespace flash::app
