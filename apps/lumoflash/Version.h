// Which lumoflash this is.
#pragma once

#include <string>

namespace flash::app {

// "0.2.0".
std::string VersionNumber();

// "lumoflash 0.2.0 (1a2b3c4d5e)", with the commit that it was built from; without it when the sources came without
// their history.
std::string VersionText();

}  // namespace flash::app
