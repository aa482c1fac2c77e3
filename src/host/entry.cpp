#include "host/entry.h"

namespace varno {
namespace {
void setHost(OfxHost*) {}
OfxStatus mainEntry(const char*, const void*, OfxPropertySetHandle, OfxPropertySetHandle) {
  return kOfxStatReplyDefault;
}
OfxPlugin gPlugin = {kOfxImageEffectPluginApi, 1, "com.varnotone.varnocolor", 1, 0, setHost, mainEntry};
}  // namespace
OfxPlugin* descrittore_plugin() { return &gPlugin; }
}  // namespace varno
