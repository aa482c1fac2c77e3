// The plug-in's contact surface with an OFX host.
#pragma once

#include "host/ofx_abi.h"

namespace varno {

OfxPlugin* descrittore_plugin();

}  // namespace varno
