#include "render/parallelo.h"

#include <atomic>

namespace varno {

namespace {
std::atomic<unsigned> g_forzato{0};
}

unsigned thread_hardware() {
  const unsigned f = g_forzato.load(std::memory_order_relaxed);
  return f != 0 ? f : std::thread::hardware_concurrency();
}

void imposta_thread_hardware(unsigned n) { g_forzato.store(n, std::memory_order_relaxed); }

}  // namespace varno
