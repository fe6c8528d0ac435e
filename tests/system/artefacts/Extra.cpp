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

#if defined(FLASH_TEXT_RELOCATION)
asm(".text\n.quad CreateFlashDevice2\n");
#endif

#if defined(FLASH_OWN_STACK_CHECK)
extern "C" [[noreturn]] void __stack_chk_fail();
extern "C" void __stack_chk_fail() { __builtin_trap(); }
#endif
