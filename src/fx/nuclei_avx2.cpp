// The effect kernels for AVX2: eight floats a vector, for processors that have it.
#include "render/cpu.h"

#define VARNO_VARIANTE VARNO_AVX2
#define VARNO_CORSIE 8
#include "fx/nuclei_corpo.h"

namespace varno {

const Nuclei& nuclei_avx2() {
  static const Nuclei n = crea_nuclei(Isa::avx2);
  return n;
}

}  // namespace varno
