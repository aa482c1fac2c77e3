// The OFX Image Effect C ABI, declared here because no package ships the
// standard's headers. Member order and signatures are what hosts call through:
// every suite is declared whole, in order, even members the plug-in never uses.
#pragma once

#include <cstddef>

extern "C" {

typedef int OfxStatus;
typedef double OfxTime;

typedef struct OfxPropertySetStruct* OfxPropertySetHandle;
typedef struct OfxImageEffectStruct* OfxImageEffectHandle;
typedef struct OfxImageClipStruct* OfxImageClipHandle;
typedef struct OfxImageMemoryStruct* OfxImageMemoryHandle;
typedef struct OfxParamStruct* OfxParamHandle;
typedef struct OfxParamSetStruct* OfxParamSetHandle;

typedef struct OfxRectI { int x1, y1, x2, y2; } OfxRectI;
typedef struct OfxRectD { double x1, y1, x2, y2; } OfxRectD;
typedef struct OfxPointI { int x, y; } OfxPointI;
typedef struct OfxPointD { double x, y; } OfxPointD;
typedef struct OfxRangeD { double min, max; } OfxRangeD;

typedef struct OfxHost {
  OfxPropertySetHandle host;
  const void* (*fetchSuite)(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);
} OfxHost;

typedef OfxStatus(OfxPluginEntryPoint)(const char* action, const void* handle,
                                       OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs);

typedef struct OfxPlugin {
  const char* pluginApi;
  int apiVersion;
  const char* pluginIdentifier;
  unsigned int pluginVersionMajor;
  unsigned int pluginVersionMinor;
  void (*setHost)(OfxHost* host);
  OfxPluginEntryPoint* mainEntry;
} OfxPlugin;

typedef struct OfxPropertySuiteV1 {
  OfxStatus (*propSetPointer)(OfxPropertySetHandle properties, const char* property, int index, void* value);
  OfxStatus (*propSetString)(OfxPropertySetHandle properties, const char* property, int index, const char* value);
  OfxStatus (*propSetDouble)(OfxPropertySetHandle properties, const char* property, int index, double value);
  OfxStatus (*propSetInt)(OfxPropertySetHandle properties, const char* property, int index, int value);
  OfxStatus (*propSetPointerN)(OfxPropertySetHandle properties, const char* property, int count, void* const* value);
  OfxStatus (*propSetStringN)(OfxPropertySetHandle properties, const char* property, int count, const char* const* value);
  OfxStatus (*propSetDoubleN)(OfxPropertySetHandle properties, const char* property, int count, const double* value);
  OfxStatus (*propSetIntN)(OfxPropertySetHandle properties, const char* property, int count, const int* value);
  OfxStatus (*propGetPointer)(OfxPropertySetHandle properties, const char* property, int index, void** value);
  OfxStatus (*propGetString)(OfxPropertySetHandle properties, const char* property, int index, char** value);
  OfxStatus (*propGetDouble)(OfxPropertySetHandle properties, const char* property, int index, double* value);
  OfxStatus (*propGetInt)(OfxPropertySetHandle properties, const char* property, int index, int* value);
  OfxStatus (*propGetPointerN)(OfxPropertySetHandle properties, const char* property, int count, void** value);
  OfxStatus (*propGetStringN)(OfxPropertySetHandle properties, const char* property, int count, char** value);
  OfxStatus (*propGetDoubleN)(OfxPropertySetHandle properties, const char* property, int count, double* value);
  OfxStatus (*propGetIntN)(OfxPropertySetHandle properties, const char* property, int count, int* value);
  OfxStatus (*propReset)(OfxPropertySetHandle properties, const char* property);
  OfxStatus (*propGetDimension)(OfxPropertySetHandle properties, const char* property, int* count);
} OfxPropertySuiteV1;

typedef struct OfxImageEffectSuiteV1 {
  OfxStatus (*getPropertySet)(OfxImageEffectHandle imageEffect, OfxPropertySetHandle* propHandle);
  OfxStatus (*getParamSet)(OfxImageEffectHandle imageEffect, OfxParamSetHandle* paramSet);
  OfxStatus (*clipDefine)(OfxImageEffectHandle imageEffect, const char* name, OfxPropertySetHandle* propertySet);
  OfxStatus (*clipGetHandle)(OfxImageEffectHandle imageEffect, const char* name, OfxImageClipHandle* clip,
                             OfxPropertySetHandle* propertySet);
  OfxStatus (*clipGetPropertySet)(OfxImageClipHandle clip, OfxPropertySetHandle* propHandle);
  OfxStatus (*clipGetImage)(OfxImageClipHandle clip, OfxTime time, const OfxRectD* region,
                            OfxPropertySetHandle* imageHandle);
  OfxStatus (*clipReleaseImage)(OfxPropertySetHandle imageHandle);
  OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle clip, OfxTime time, OfxRectD* bounds);
  int (*abort)(OfxImageEffectHandle imageEffect);
  OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle instanceHandle, size_t nBytes,
                                OfxImageMemoryHandle* memoryHandle);
  OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle memoryHandle);
  OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle memoryHandle, void** returnedPtr);
  OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle memoryHandle);
} OfxImageEffectSuiteV1;

typedef struct OfxParameterSuiteV1 {
  OfxStatus (*paramDefine)(OfxParamSetHandle paramSet, const char* paramType, const char* name,
                           OfxPropertySetHandle* propertySet);
  OfxStatus (*paramGetHandle)(OfxParamSetHandle paramSet, const char* name, OfxParamHandle* param,
                              OfxPropertySetHandle* propertySet);
  OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle paramSet, OfxPropertySetHandle* propHandle);
  OfxStatus (*paramGetPropertySet)(OfxParamHandle param, OfxPropertySetHandle* propHandle);
  OfxStatus (*paramGetValue)(OfxParamHandle paramHandle, ...);
  OfxStatus (*paramGetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
  OfxStatus (*paramGetDerivative)(OfxParamHandle paramHandle, OfxTime time, ...);
  OfxStatus (*paramGetIntegral)(OfxParamHandle paramHandle, OfxTime time1, OfxTime time2, ...);
  OfxStatus (*paramSetValue)(OfxParamHandle paramHandle, ...);
  OfxStatus (*paramSetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
  OfxStatus (*paramGetNumKeys)(OfxParamHandle paramHandle, unsigned int* numberOfKeys);
  OfxStatus (*paramGetKeyTime)(OfxParamHandle paramHandle, unsigned int nthKey, OfxTime* time);
  OfxStatus (*paramGetKeyIndex)(OfxParamHandle paramHandle, OfxTime time, int direction, int* index);
  OfxStatus (*paramDeleteKey)(OfxParamHandle paramHandle, OfxTime time);
  OfxStatus (*paramDeleteAllKeys)(OfxParamHandle paramHandle);
  OfxStatus (*paramCopy)(OfxParamHandle paramTo, OfxParamHandle paramFrom, OfxTime dstOffset,
                         const OfxRangeD* frameRange);
  OfxStatus (*paramEditBegin)(OfxParamSetHandle paramSet, const char* name);
  OfxStatus (*paramEditEnd)(OfxParamSetHandle paramSet);
} OfxParameterSuiteV1;

}  // extern "C"

// Status numbers.
enum : OfxStatus {
  kOfxStatOK = 0,
  kOfxStatFailed = 1,
  kOfxStatErrFatal = 2,
  kOfxStatErrUnknown = 3,
  kOfxStatErrMissingHostFeature = 4,
  kOfxStatErrUnsupported = 5,
  kOfxStatErrExists = 6,
  kOfxStatErrFormat = 7,
  kOfxStatErrMemory = 8,
  kOfxStatErrBadHandle = 9,
  kOfxStatErrBadIndex = 10,
  kOfxStatErrValue = 11,
  kOfxStatReplyYes = 12,
  kOfxStatReplyNo = 13,
  kOfxStatReplyDefault = 14,
  kOfxStatErrImageFormat = 1000,
};

// The strings in use; each is its macro name without the leading k.
#define kOfxImageEffectPluginApi "OfxImageEffectPluginAPI"
#define kOfxImageEffectPluginApiVersion 1

#define kOfxActionLoad "OfxActionLoad"
#define kOfxActionUnload "OfxActionUnload"
#define kOfxActionDescribe "OfxActionDescribe"
#define kOfxActionCreateInstance "OfxActionCreateInstance"
#define kOfxActionDestroyInstance "OfxActionDestroyInstance"
#define kOfxActionInstanceChanged "OfxActionInstanceChanged"
#define kOfxImageEffectActionDescribeInContext "OfxImageEffectActionDescribeInContext"
#define kOfxImageEffectActionRender "OfxImageEffectActionRender"
#define kOfxImageEffectActionGetClipPreferences "OfxImageEffectActionGetClipPreferences"
#define kOfxImageEffectActionGetRegionOfDefinition "OfxImageEffectActionGetRegionOfDefinition"
#define kOfxImageEffectActionGetRegionsOfInterest "OfxImageEffectActionGetRegionsOfInterest"
#define kOfxImageEffectActionIsIdentity "OfxImageEffectActionIsIdentity"

#define kOfxImageEffectSuite "OfxImageEffectSuite"
#define kOfxPropertySuite "OfxPropertySuite"
#define kOfxParameterSuite "OfxParameterSuite"

#define kOfxPropName "OfxPropName"
#define kOfxPropLabel "OfxPropLabel"
#define kOfxPropTime "OfxPropTime"
#define kOfxPropType "OfxPropType"
#define kOfxPropChangeReason "OfxPropChangeReason"
#define kOfxImageEffectPluginPropGrouping "OfxImageEffectPluginPropGrouping"
#define kOfxImageEffectPropSupportedContexts "OfxImageEffectPropSupportedContexts"
#define kOfxImageEffectPropSupportedPixelDepths "OfxImageEffectPropSupportedPixelDepths"
#define kOfxImageEffectPropSupportsMultiResolution "OfxImageEffectPropSupportsMultiResolution"
#define kOfxImageEffectPropSupportsTiles "OfxImageEffectPropSupportsTiles"
#define kOfxImageEffectPluginRenderThreadSafety "OfxImageEffectPluginRenderThreadSafety"
#define kOfxImageEffectRenderInstanceSafe "OfxImageEffectRenderInstanceSafe"
#define kOfxImageEffectPluginPropHostFrameThreading "OfxImageEffectPluginPropHostFrameThreading"
#define kOfxImageEffectPropClipPreferencesSlaveParam "OfxImageEffectPropClipPreferencesSlaveParam"
#define kOfxImageEffectFrameVarying "OfxImageEffectFrameVarying"
#define kOfxImageEffectContextFilter "OfxImageEffectContextFilter"
#define kOfxImageEffectContextGeneral "OfxImageEffectContextGeneral"
#define kOfxImageEffectPropContext "OfxImageEffectPropContext"
#define kOfxBitDepthFloat "OfxBitDepthFloat"
#define kOfxImageEffectPropSupportedComponents "OfxImageEffectPropSupportedComponents"
#define kOfxImageComponentRGBA "OfxImageComponentRGBA"
#define kOfxImageEffectPropPixelDepth "OfxImageEffectPropPixelDepth"
#define kOfxImageEffectPropComponents "OfxImageEffectPropComponents"
#define kOfxImageEffectPropPreMultiplication "OfxImageEffectPropPreMultiplication"
#define kOfxImagePropPixelAspectRatio "OfxImagePropPixelAspectRatio"
#define kOfxImageEffectPropRenderWindow "OfxImageEffectPropRenderWindow"
#define kOfxImageEffectPropRenderScale "OfxImageEffectPropRenderScale"
#define kOfxImageEffectPropFieldToRender "OfxImageEffectPropFieldToRender"
#define kOfxImagePropData "OfxImagePropData"
#define kOfxImagePropRowBytes "OfxImagePropRowBytes"
#define kOfxImagePropBounds "OfxImagePropBounds"
#define kOfxImageEffectOutputClipName "Output"
#define kOfxImageEffectSimpleSourceClipName "Source"

#define kOfxParamTypeDouble "OfxParamTypeDouble"
#define kOfxParamTypeBoolean "OfxParamTypeBoolean"
#define kOfxParamTypeChoice "OfxParamTypeChoice"
#define kOfxParamPropDefault "OfxParamPropDefault"
#define kOfxParamPropMin "OfxParamPropMin"
#define kOfxParamPropMax "OfxParamPropMax"
#define kOfxParamPropDisplayMin "OfxParamPropDisplayMin"
#define kOfxParamPropDisplayMax "OfxParamPropDisplayMax"
#define kOfxParamPropDoubleType "OfxParamPropDoubleType"
#define kOfxParamDoubleTypePlain "OfxParamDoubleTypePlain"
#define kOfxParamPropChoiceOption "OfxParamPropChoiceOption"
#define kOfxParamPropHint "OfxParamPropHint"
#define kOfxParamPropSecret "OfxParamPropSecret"
#define kOfxParamPropEnabled "OfxParamPropEnabled"
#define kOfxParamPropPersistant "OfxParamPropPersistant"
#define kOfxParamPropType "OfxParamPropType"

#define kOfxChangeUserEdited "OfxChangeUserEdited"
#define kOfxChangePluginEdited "OfxChangePluginEdited"
#define kOfxChangeTime "OfxChangeTime"
#define kOfxTypeParameter "OfxTypeParameter"
#define kOfxTypeClip "OfxTypeClip"
