// What broken modules ask of the system. There is a file for each.
#pragma once

#include <string>

namespace flash::broken {

// The module's file as it was loaded, without folder and ending.
std::string NameOfModule();

// Ends of itself where nobody ends it.
void StartAProcess();

// The same, as far away from this process as one can get.
void StartADaemon();

// Each of them stays far below what one process may use. Does not come back.
void LetOthersTakeMemory();

// And leaves it open.
void OpenSomething();

}  // namespace flash::broken
