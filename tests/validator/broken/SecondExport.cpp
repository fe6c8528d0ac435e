// Broken: the module exports a second function.
extern "C" __attribute__((visibility("default"))) int FlashDeviceVersion() { return 2; }
