// The transfer curves of the camera profiles, code value to linear, in double precision.
// Only the build-time generator and the tests evaluate these; the plug-in reads the samples.
#pragma once

#include <cmath>

#include "colore/curve.h"

namespace varno {

// Code value of sample i of a curve.
inline double codice_campione(int i) { return i / 4095.0; }

inline double slog3(double x) {
  if (x >= 171.2102946929 / 1023.0)
    return std::pow(10.0, (1023.0 * x - 420.0) / 261.5) * (0.18 + 0.01) - 0.01;
  return (1023.0 * x - 95.0) * 0.01125 / (171.2102946929 - 95.0);
}

// Exposure index 800 for all footage.
inline double logc3(double x) {
  const double cut = 0.010591, a = 5.555556, b = 0.052272, c = 0.247190, d = 0.385537,
               e = 5.367655, f = 0.092809;
  if (x > e * cut + f) return (std::pow(10.0, (x - d) / c) - b) / a;
  return (x - f) / e;
}

// The published branch for negative signals lies below code 0 and is never reached.
inline double logc4(double x) {
  const double a = (std::pow(2.0, 18.0) - 16.0) / 117.45;
  const double b = (1023.0 - 95.0) / 1023.0;
  const double c = 95.0 / 1023.0;
  return (std::pow(2.0, 14.0 * (x - c) / b + 6.0) - 64.0) / a;
}

inline double canon_log3(double x) {
  double v;
  if (x < 0.097465473)
    v = -(std::pow(10.0, (0.12783901 - x) / 0.36726845) - 1.0) / 14.98325;
  else if (x <= 0.15277891)
    v = (x - 0.12512219) / 1.9754798;
  else
    v = (std::pow(10.0, (x - 0.12240537) / 0.36726845) - 1.0) / 14.98325;
  return 0.9 * v;
}

inline double vlog(double x) {
  if (x < 0.181) return (x - 0.125) / 5.6;
  return std::pow(10.0, (x - 0.598206) / 0.241514) - 0.00873;
}

inline double flog(double x) {
  if (x >= 0.100537775223865) return (std::pow(10.0, (x - 0.790453) / 0.344676) - 0.009468) / 0.555556;
  return (x - 0.092864) / 8.735631;
}

inline double flog2(double x) {
  if (x >= 0.100686685370811) return (std::pow(10.0, (x - 0.384316) / 0.245281) - 0.064829) / 5.555556;
  return (x - 0.092864) / 8.799461;
}

inline double log3g10(double x) { return (std::pow(10.0, x / 0.224282) - 1.0) / 155.975327 - 0.01; }

inline double nlog(double x) {
  const double y = 1023.0 * x;
  if (y < 452.0) return std::pow(y / 650.0, 3.0) - 0.0075;
  return std::exp((y - 619.0) / 150.0);
}

inline double dlog(double x) {
  if (x <= 0.14) return (x - 0.0929) / 6.025;
  return (std::pow(10.0, 3.89616 * x - 2.27752) - 0.0108) / 0.9892;
}

inline double apple_log(double x) {
  const double r0 = -0.05641088, rt = 0.01, c = 47.28711236, b = 0.00964052, g = 0.08550479,
               d = 0.69336945;
  const double pt = c * (rt - r0) * (rt - r0);
  if (x < pt) return std::sqrt(x / c) + r0;
  return std::pow(2.0, (x - d) / g) - b;
}

inline double slog2(double x) {
  const double y = (1023.0 * x - 64.0) / 876.0;
  double v;
  if (y >= 0.432699 * std::log10(0.037584) + 0.646596)
    v = std::pow(10.0, (y - 0.646596) / 0.432699) - 0.037584;
  else
    v = (y - 0.030001222851889303) / 5.0;
  return v * 0.9 * 219.0 / 155.0;
}

inline double canon_log2(double x) {
  double v;
  if (x < 0.092864125)
    v = -(std::pow(10.0, (0.092864125 - x) / 0.24136077) - 1.0) / 87.099375;
  else
    v = (std::pow(10.0, (x - 0.092864125) / 0.24136077) - 1.0) / 87.099375;
  return 0.9 * v;
}

inline double llog(double x) {
  if (x <= 0.138) return (x - 0.09) / 8.0;
  return (std::pow(10.0, (x - 0.6) / 0.27) - 0.0115) / 1.3;
}

// The linear segment ends at sample 332, a little past 0.081: sample 332 is larger than
// sample 333, and that small step down belongs to the table.
inline double bt709_inversa_campione(int i) {
  const double x = codice_campione(i);
  if (i <= 332) return x / 4.5;
  return std::pow((x + 0.099) / 1.099, 1.0 / 0.45);
}

inline double srgb_inversa(double x) {
  if (x <= 0.04045) return x / 12.92;
  return std::pow((x + 0.055) / 1.055, 2.4);
}

// Sample i of curve `id`, in double precision, before its one rounding to float.
inline double campione_curva(IdCurva id, int i) {
  const double x = codice_campione(i);
  switch (id) {
    case IdCurva::SLog3: return slog3(x);
    case IdCurva::LogC3: return logc3(x);
    case IdCurva::LogC4: return logc4(x);
    case IdCurva::CanonLog3: return canon_log3(x);
    case IdCurva::VLog: return vlog(x);
    case IdCurva::FLog: return flog(x);
    case IdCurva::FLog2: return flog2(x);
    case IdCurva::Log3G10: return log3g10(x);
    case IdCurva::NLog: return nlog(x);
    case IdCurva::DLog: return dlog(x);
    case IdCurva::AppleLog: return apple_log(x);
    case IdCurva::SLog2: return slog2(x);
    case IdCurva::CanonLog2: return canon_log2(x);
    case IdCurva::LLog: return llog(x);
    case IdCurva::Bt709Inversa: return bt709_inversa_campione(i);
    case IdCurva::SrgbInversa: return srgb_inversa(x);
    case IdCurva::Numero: break;
  }
  return 0.0;
}

}  // namespace varno
