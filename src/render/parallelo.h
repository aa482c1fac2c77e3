// The one way of running work on threads: a count of independent items spread
// over threads that live for one call. No pool, no queue, no nesting.
#pragma once

#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

namespace varno {

// Hardware thread count, asked anew on each call. Tests may override it.
unsigned thread_hardware();
// 0 restores the platform's count.
void imposta_thread_hardware(unsigned n);

template <class Corpo>
void parallel_for(uint64_t count, Corpo&& corpo) {
  const uint64_t hc = thread_hardware();
  if (hc < 2 || count < 16) {
    for (uint64_t i = 0; i < count; ++i) corpo(i);
    return;
  }
  const uint64_t t = hc < count ? hc : count;
  const uint64_t chunk = (count + t - 1) / t;
  std::vector<std::thread> threads;
  std::vector<std::exception_ptr> errori(t);
  threads.reserve(t);
  std::exception_ptr errore_avvio;
  for (uint64_t i = 0; i < t; ++i) {
    const uint64_t inizio = i * chunk;
    const uint64_t fine = inizio + chunk < count ? inizio + chunk : count;
    if (inizio >= fine) break;
    try {
      threads.emplace_back([&corpo, &errori, i, inizio, fine] {
        try {
          for (uint64_t k = inizio; k < fine; ++k) corpo(k);
        } catch (...) {
          errori[i] = std::current_exception();
        }
      });
    } catch (...) {
      // A thread that cannot start: join the ones running, then pass the error on.
      errore_avvio = std::current_exception();
      break;
    }
  }
  for (auto& th : threads) th.join();
  if (errore_avvio) std::rethrow_exception(errore_avvio);
  for (auto& e : errori)
    if (e) std::rethrow_exception(e);
}

}  // namespace varno
