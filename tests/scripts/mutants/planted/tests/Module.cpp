// The product as a module, which the tests load by its path.
#include "product/Planted.h"

extern "C" int InModule(int value) { return planted::InModule(value); }
