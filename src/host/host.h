// Process-wide pointers to the host and its suites, set by setHost and the load
// action, read by every other action.
#pragma once

#include "host/ofx_abi.h"

namespace varno {

extern OfxHost* gHost;
extern const OfxImageEffectSuiteV1* gEff;
extern const OfxPropertySuiteV1* gProp;
extern const OfxParameterSuiteV1* gParm;

// The action handlers behind mainEntry.
OfxStatus carica();
OfxStatus descrivi(OfxImageEffectHandle handle);
OfxStatus descrivi_in_contesto(OfxImageEffectHandle handle);
// Clip preferences: frame-varying while grain is on, otherwise the host's defaults.
OfxStatus preferenze_clip(OfxImageEffectHandle handle, OfxPropertySetHandle outArgs);
void definisci_parametri(OfxParamSetHandle set);
void istanza_cambiata(OfxImageEffectHandle handle, OfxPropertySetHandle inArgs);
void aggiorna_tendina_colorspace(OfxImageEffectHandle handle);
void applica_look(OfxImageEffectHandle handle);

}  // namespace varno
