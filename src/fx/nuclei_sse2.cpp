// The effect kernels for The baseline every x86-64 processor has: four floats a vector.
#include "render/cpu.h"

#define VARNO_VARIANTE 
#define VARNO_CORSIE 4
#include "fx/nuclei_corpo.h"

namespace varno {

const Nuclei& nuclei_sse2() {
  static const Nuclei n = crea_nuclei(Isa::sse2);
  return n;
}

}  // namespace varno
