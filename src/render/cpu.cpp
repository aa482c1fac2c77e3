#include "render/cpu.h"

#include <atomic>

namespace varno {

namespace {
std::atomic<int> g_limite{static_cast<int>(Isa::avx512)};
}

Isa isa_disponibile() {
  // libgcc's checks include the operating system's support for the wider
  // registers (XGETBV), not only the processor's.
  static const Isa isa = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq"))
      return Isa::avx512;
    if (__builtin_cpu_supports("avx2")) return Isa::avx2;
    return Isa::sse2;
  }();
  return isa;
}

Isa isa_attiva() {
  const int limite = g_limite.load(std::memory_order_relaxed);
  const int disponibile = static_cast<int>(isa_disponibile());
  return static_cast<Isa>(disponibile < limite ? disponibile : limite);
}

void limita_isa(Isa massima) { g_limite.store(static_cast<int>(massima), std::memory_order_relaxed); }

const char* nome_isa(Isa isa) {
  switch (isa) {
    case Isa::avx512: return "AVX-512";
    case Isa::avx2: return "AVX2";
    default: return "SSE2";
  }
}

}  // namespace varno
