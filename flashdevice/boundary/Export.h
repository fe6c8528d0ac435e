// Makes the factory visible to whoever loads the module. Comes before the interface's header, which leaves the mark
// empty for those who only call.
#pragma once

#if defined(_WIN32)
#define FLASHDEVICE_API __declspec(dllexport)
#else
#define FLASHDEVICE_API __attribute__((visibility("default")))
#endif
