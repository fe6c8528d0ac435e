// Broken: the module exports a second function.
#include "flashdevice/boundary/Export.h"

extern "C" FLASHDEVICE_API int FlashDeviceVersion() { return 2; }
