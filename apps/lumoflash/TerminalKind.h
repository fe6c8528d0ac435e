// What the user's terminal can show.
#pragma once

namespace flash::app {

// By the environment or an option: no escape sequences at all.
bool MayEscape(bool isColorOff);

}  // namespace flash::app
