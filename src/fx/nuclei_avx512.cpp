// The effect kernels for AVX-512: sixteen floats a vector, for processors that have it.
#include "render/cpu.h"

#define VARNO_VARIANTE VARNO_AVX512
#define VARNO_CORSIE 16
#include "fx/nuclei_corpo.h"

namespace varno {

const Nuclei& nuclei_avx512() {
  static const Nuclei n = crea_nuclei(Isa::avx512);
  return n;
}

}  // namespace varno
