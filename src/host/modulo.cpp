// The module's only two exports; everything else stays hidden.
#include "host/entry.h"

#define VARNO_EXPORT extern "C" __attribute__((visibility("default")))

VARNO_EXPORT int OfxGetNumberOfPlugins(void) { return 1; }

VARNO_EXPORT OfxPlugin* OfxGetPlugin(int nth) { return nth == 0 ? varno::descrittore_plugin() : nullptr; }
