// The one way of running work on threads: a count of independent items split
// into contiguous chunks, run by a pool of threads that starts on first use and
// lives until the module unloads. Every instance shares it, so renders running
// at once never have more busy workers than the hardware has threads.
#pragma once

#include <cstdint>
#include <type_traits>

namespace varno {

// Hardware thread count, asked anew on each call. Tests may override it.
unsigned thread_hardware();
// 0 restores the platform's count.
void imposta_thread_hardware(unsigned n);

// How count items split for hc hardware threads: chunks of `passo` items, the
// last one shorter; `blocchi` 0 means the items run in order on the caller.
struct Suddivisione {
  uint64_t passo = 0;
  uint64_t blocchi = 0;
};
Suddivisione suddividi(uint64_t count, uint64_t hc);

namespace interno {
using Blocco = void (*)(void* corpo, uint64_t inizio, uint64_t fine);
// Runs chunks [k * passo, min((k + 1) * passo, count)) for k < blocchi on the
// pool and returns once all have finished; the first error any chunk raised
// is then thrown here.
void esegui_blocchi(uint64_t count, Suddivisione s, Blocco blocco, void* corpo);
// True on a pool thread: a body that calls parallel_for runs that call inline.
bool nel_pool();
}  // namespace interno

// Calls corpo(i) once for every i below count. The body is taken by reference
// and never copied; it writes only the output of its own index and keeps no
// state between indices, so the split never changes a result.
template <class Corpo>
void parallel_for(uint64_t count, Corpo&& corpo) {
  const Suddivisione s = suddividi(count, thread_hardware());
  if (s.blocchi == 0 || interno::nel_pool()) {
    for (uint64_t i = 0; i < count; ++i) corpo(i);
    return;
  }
  using C = std::remove_reference_t<Corpo>;
  interno::esegui_blocchi(
      count, s,
      [](void* c, uint64_t inizio, uint64_t fine) {
        C& f = *static_cast<C*>(c);
        for (uint64_t k = inizio; k < fine; ++k) f(k);
      },
      const_cast<void*>(static_cast<const void*>(&corpo)));
}

}  // namespace varno
