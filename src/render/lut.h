// The 3D table that bakes the whole grade, and the one process-wide current
// table with its key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <memory>
#include <vector>

#include "colore/colore.h"

namespace varno {

// Allocates 64-byte aligned storage with a few zeroed floats past the end, so
// a vector kernel may load a whole group of floats at the last sample.
template <class T>
struct ConMargine {
  using value_type = T;
  static constexpr size_t kMargine = 16;
  ConMargine() = default;
  template <class U>
  ConMargine(const ConMargine<U>&) {}
  T* allocate(size_t n) {
    T* p = static_cast<T*>(::operator new((n + kMargine) * sizeof(T), std::align_val_t{64}));
    std::memset(static_cast<void*>(p + n), 0, kMargine * sizeof(T));
    return p;
  }
  void deallocate(T* p, size_t) { ::operator delete(p, std::align_val_t{64}); }
  // Growing leaves the new samples unset: the build writes every one of them.
  template <class U>
  void construct(U* p) noexcept {
    ::new (static_cast<void*>(p)) U;
  }
  template <class U, class... A>
  void construct(U* p, A&&... a) {
    ::new (static_cast<void*>(p)) U(std::forward<A>(a)...);
  }
  template <class U>
  bool operator==(const ConMargine<U>&) const { return true; }
  template <class U>
  bool operator!=(const ConMargine<U>&) const { return false; }
};

// The settings a table was built from: the look as validated, the profile as
// resolved, the four doubles as the host gave them.
struct ChiaveLut {
  int32_t look = -1;
  int32_t profilo = -1;
  double forza = -1.0;
  double ev = -99.0;
  double temp = -99.0;
  double tinta = -99.0;
};

// The two renderings of every lattice point a build worked out before the
// look's strength mixed them (the look's only when a look is set), and the
// settings they were worked out for.
struct Rese {
  bool valide = false;
  int32_t N = 0;
  ChiaveLut chiave;
  std::vector<float> neutra, look;
};

struct Lut3D {
  int32_t N = 0;
  std::vector<float, ConMargine<float>> dati;  // blue slowest, then green, red, channel

  // A whole build. With `rese` kept from an earlier build for `chiave`'s
  // settings, only what the settings changed is worked out again: a new
  // strength mixes the same renderings, a new look keeps the neutral one.
  // The renderings are then chiave's.
  void costruisci(const Contesto& contesto, int n, const ChiaveLut* chiave = nullptr, Rese* rese = nullptr);
};

// Brings the current table up to date for this key and returns it: one of the
// few most recently built if its key matches exactly, else a new build. Each
// build is a new immutable table, so a render keeps grading from the one it
// got while another instance swaps in its own.
std::shared_ptr<const Lut3D> aggiorna_lut(const ChiaveLut& chiave, const Contesto& contesto);

// Number of complete builds so far in this process.
uint64_t lut_costruzioni();

}  // namespace varno
