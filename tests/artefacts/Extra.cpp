// What the weakened twins of the module add, so that the checks have something to find.
#if defined(FLASH_EXTRA_EXPORT)
#if defined(_WIN32)
extern "C" __declspec(dllexport) int SecondExport();
#else
extern "C" __attribute__((visibility("default"))) int SecondExport();
#endif
extern "C" int SecondExport() { return 1; }
#endif

#if defined(FLASH_EXTRA_IMPORT)
#include <winsock2.h>

extern "C" int UseSockets();
int UseSockets() { return WSAGetLastError(); }
#endif
