// The distinct transfer curves of the camera profiles, as samples generated at build time.
#pragma once

namespace varno {

enum class IdCurva {
  SLog3,
  LogC3,
  LogC4,
  CanonLog3,
  VLog,
  FLog,
  FLog2,
  Log3G10,
  NLog,
  DLog,
  AppleLog,
  SLog2,
  CanonLog2,
  LLog,
  Bt709Inversa,
  SrgbInversa,
  Numero
};

constexpr int kNumeroCurve = static_cast<int>(IdCurva::Numero);
constexpr int kCampioniPerCurva = 4096;

// Entry i is the linear value of code value i/4095. Rows of the profile table that share
// a curve share its samples.
extern const float CAMPIONI_CURVE[kNumeroCurve][kCampioniPerCurva];

constexpr const float* campioni(IdCurva id) { return CAMPIONI_CURVE[static_cast<int>(id)]; }

}  // namespace varno
