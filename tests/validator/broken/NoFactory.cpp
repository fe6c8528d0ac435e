// Broken: a module without the factory.
extern "C" __attribute__((visibility("default"))) int FlashDeviceVersion() { return 2; }
