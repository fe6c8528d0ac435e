// Addresses as lines of CSV: `kind,address,state,chip,station,time`.
#pragma once

#include <string>
#include <vector>

#include "host/line/PoolAddress.h"

namespace flash::host::line {

std::string PoolCsvHeader();
std::string PoolCsv(const PoolAddress& address);

// A header is not needed, nor is anything behind the address. Throws Failure (BadInput) with the file's name and the
// line for whatever is wrong.
std::vector<PoolAddress> ReadPoolFile(const std::string& fileName, const std::string& content);

}  // namespace flash::host::line
