#include "host/entry.h"

#include <cstring>
#include <new>

#include "host/host.h"
#include "render/render.h"

namespace varno {

OfxHost* gHost = nullptr;
const OfxImageEffectSuiteV1* gEff = nullptr;
const OfxPropertySuiteV1* gProp = nullptr;
const OfxParameterSuiteV1* gParm = nullptr;

namespace {

void setHost(OfxHost* host) { gHost = host; }

OfxStatus smista(const char* azione, const void* handle, OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs) {
  auto effetto = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
  if (std::strcmp(azione, kOfxActionLoad) == 0) return carica();
  // Every other action calls through the suites; a host that skipped or failed
  // the load gets a failure, not a jump through a null pointer. Describe needs
  // only the image-effect and property suites.
  if (std::strcmp(azione, kOfxActionDescribe) == 0)
    return gEff != nullptr && gProp != nullptr ? descrivi(effetto) : kOfxStatFailed;
  if (gEff == nullptr || gProp == nullptr || gParm == nullptr) {
    const bool conosciuta = std::strcmp(azione, kOfxImageEffectActionDescribeInContext) == 0 ||
                            std::strcmp(azione, kOfxImageEffectActionRender) == 0 ||
                            std::strcmp(azione, kOfxImageEffectActionGetClipPreferences) == 0 ||
                            std::strcmp(azione, kOfxActionInstanceChanged) == 0 ||
                            std::strcmp(azione, kOfxActionCreateInstance) == 0;
    if (conosciuta) return kOfxStatFailed;
  }
  if (std::strcmp(azione, kOfxImageEffectActionDescribeInContext) == 0) return descrivi_in_contesto(effetto);
  if (std::strcmp(azione, kOfxImageEffectActionRender) == 0) return render(effetto, inArgs);
  if (std::strcmp(azione, kOfxImageEffectActionGetClipPreferences) == 0) return preferenze_clip(effetto, outArgs);
  if (std::strcmp(azione, kOfxActionInstanceChanged) == 0) {
    istanza_cambiata(effetto, inArgs);
    return kOfxStatOK;
  }
  if (std::strcmp(azione, kOfxActionCreateInstance) == 0) {
    aggiorna_tendina_colorspace(effetto);
    return kOfxStatOK;
  }
  if (std::strcmp(azione, kOfxActionDestroyInstance) == 0) return kOfxStatOK;
  return kOfxStatReplyDefault;
}

// An exception crossing into the host would take the host down with it.
OfxStatus mainEntry(const char* azione, const void* handle, OfxPropertySetHandle inArgs,
                    OfxPropertySetHandle outArgs) {
  if (azione == nullptr) return kOfxStatReplyDefault;
  try {
    return smista(azione, handle, inArgs, outArgs);
  } catch (const std::bad_alloc&) {
    return kOfxStatErrMemory;
  } catch (...) {
    return kOfxStatFailed;
  }
}

OfxPlugin gPlugin = {kOfxImageEffectPluginApi, 1, "com.varnotone.varnocolor", 1, 0, setHost, mainEntry};

}  // namespace

OfxPlugin* descrittore_plugin() { return &gPlugin; }

OfxStatus carica() {
  if (gHost == nullptr) return kOfxStatFailed;
  if (gHost->fetchSuite == nullptr) return kOfxStatFailed;
  // All three are fetched even when one is missing.
  gEff = static_cast<const OfxImageEffectSuiteV1*>(gHost->fetchSuite(gHost->host, kOfxImageEffectSuite, 1));
  gProp = static_cast<const OfxPropertySuiteV1*>(gHost->fetchSuite(gHost->host, kOfxPropertySuite, 1));
  gParm = static_cast<const OfxParameterSuiteV1*>(gHost->fetchSuite(gHost->host, kOfxParameterSuite, 1));
  return (gEff && gProp && gParm) ? kOfxStatOK : kOfxStatFailed;
}

OfxStatus descrivi(OfxImageEffectHandle handle) {
  OfxPropertySetHandle p = nullptr;
  gEff->getPropertySet(handle, &p);
  gProp->propSetString(p, kOfxPropLabel, 0, "Varno Color");
  gProp->propSetString(p, kOfxImageEffectPluginPropGrouping, 0, "Varno");
  gProp->propSetString(p, kOfxImageEffectPropSupportedContexts, 0, kOfxImageEffectContextFilter);
  gProp->propSetString(p, kOfxImageEffectPropSupportedContexts, 1, kOfxImageEffectContextGeneral);
  gProp->propSetString(p, kOfxImageEffectPropSupportedPixelDepths, 0, kOfxBitDepthFloat);
  gProp->propSetInt(p, kOfxImageEffectPropSupportsMultiResolution, 0, 0);
  gProp->propSetInt(p, kOfxImageEffectPropSupportsTiles, 0, 0);
  gProp->propSetString(p, kOfxImageEffectPluginRenderThreadSafety, 0, kOfxImageEffectRenderInstanceSafe);
  // The plug-in threads a frame itself: a host must not split one over its threads.
  gProp->propSetInt(p, kOfxImageEffectPluginPropHostFrameThreading, 0, 0);
  // The grain switch and amount decide whether a frame varies with time.
  gProp->propSetString(p, kOfxImageEffectPropClipPreferencesSlaveParam, 0, "grana_on");
  gProp->propSetString(p, kOfxImageEffectPropClipPreferencesSlaveParam, 1, "grana");
  return kOfxStatOK;
}

OfxStatus preferenze_clip(OfxImageEffectHandle handle, OfxPropertySetHandle outArgs) {
  OfxParamSetHandle set = nullptr;
  gEff->getParamSet(handle, &set);
  auto valore = [&](const char* nome, auto& v) {
    OfxParamHandle h = nullptr;
    if (gParm->paramGetHandle(set, nome, &h, nullptr) == kOfxStatOK && h != nullptr) gParm->paramGetValue(h, &v);
  };
  int acceso = 0;
  double quanto = 0.0;
  valore("grana_on", acceso);
  if (acceso != 0) valore("grana", quanto);
  // Grain changes with every frame: a host must not reuse a frame of a still source.
  if (acceso != 0 && quanto > 0.0) {
    gProp->propSetInt(outArgs, kOfxImageEffectFrameVarying, 0, 1);
    return kOfxStatOK;
  }
  return kOfxStatReplyDefault;
}

OfxStatus descrivi_in_contesto(OfxImageEffectHandle handle) {
  for (const char* nome : {kOfxImageEffectSimpleSourceClipName, kOfxImageEffectOutputClipName}) {
    OfxPropertySetHandle clip = nullptr;
    gEff->clipDefine(handle, nome, &clip);
    gProp->propSetString(clip, kOfxImageEffectPropSupportedComponents, 0, kOfxImageComponentRGBA);
  }
  OfxParamSetHandle set = nullptr;
  gEff->getParamSet(handle, &set);
  definisci_parametri(set);
  return kOfxStatOK;
}

}  // namespace varno
