// The recipe of the effect chain: twelve amounts and two integers.
#pragma once

#include <cstdint>

namespace varno {

struct FxRicetta {
  float enhance = 0.0f;
  float halation = 0.0f;
  float bloom = 0.0f;
  float vignetta = 0.0f;
  float promist = 0.0f;  // already scaled by 0.55
  float streak = 0.0f;
  float ca = 0.0f;
  float grana = 0.0f;
  int32_t fotogramma = 0;
  float mistw = 0.0f;    // already scaled by 0.55
  float glimmer = 0.0f;  // already scaled by 0.55
  float pelle = 0.0f;    // already scaled by 0.55
  float stella = 0.0f;
  int32_t punte = 4;
};

}  // namespace varno
