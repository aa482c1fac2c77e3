#include "fx/nuclei.h"

#include <cstring>

namespace varno {

void scrivi_blocco(const BloccoSomma& b, float* f) {
  std::memcpy(f, &b.somma, sizeof(double));
  std::memcpy(f + 2, &b.modulo, sizeof(double));
  std::memcpy(f + 4, &b.unita, sizeof(int32_t));
  std::memcpy(f + 5, &b.finito, sizeof(int32_t));
}

BloccoSomma leggi_blocco(const float* f) {
  BloccoSomma b;
  std::memcpy(&b.somma, f, sizeof(double));
  std::memcpy(&b.modulo, f + 2, sizeof(double));
  std::memcpy(&b.unita, f + 4, sizeof(int32_t));
  std::memcpy(&b.finito, f + 5, sizeof(int32_t));
  return b;
}

const Nuclei* nuclei_di(Isa isa) {
  if (static_cast<int>(isa) > static_cast<int>(isa_disponibile())) return nullptr;
  switch (isa) {
    case Isa::avx512: return &nuclei_avx512();
    case Isa::avx2: return &nuclei_avx2();
    default: return &nuclei_sse2();
  }
}

const Nuclei& nuclei() { return *nuclei_di(isa_attiva()); }

}  // namespace varno
