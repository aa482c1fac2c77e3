#include "render/scorta.h"

#include <algorithm>
#include <limits>
#include <mutex>

namespace varno {

namespace {

// Enough for several instances rendering 4K at once, and bounded.
constexpr size_t kByteMassimi = size_t{2} << 30;
constexpr size_t kBufferMassimi = 48;

struct Scorta {
  std::mutex m;
  std::vector<std::vector<float>> liberi;  // the most recently returned last
  size_t byte = 0;
  uint64_t allocazioni = 0;
  uint64_t riempiti = 0;  // floats zero-filled when a kept buffer grew
};

Scorta& scorta() {
  static Scorta s;
  return s;
}

size_t byte_di(const std::vector<float>& v) { return v.capacity() * sizeof(float); }

}  // namespace

Prestito::Prestito(size_t n) {
  Scorta& s = scorta();
  {
    std::lock_guard<std::mutex> lk(s.m);
    // The smallest that holds n and is no more than twice n, so large
    // buffers stay for large frames: a small plane that shortened a
    // frame-sized buffer would have it zero-filled again when the next frame
    // borrows it. Among those, one already n long or longer first.
    size_t scelto = s.liberi.size();
    auto meglio = [&](const std::vector<float>& a, const std::vector<float>& b) {
      const bool pronto_a = a.size() >= n, pronto_b = b.size() >= n;
      return pronto_a != pronto_b ? pronto_a : a.capacity() < b.capacity();
    };
    for (size_t i = 0; i < s.liberi.size(); ++i) {
      const size_t c = s.liberi[i].capacity();
      if (c >= n && c / 2 <= n && (scelto == s.liberi.size() || meglio(s.liberi[i], s.liberi[scelto]))) scelto = i;
    }
    if (scelto < s.liberi.size()) {
      v_ = std::move(s.liberi[scelto]);
      s.liberi.erase(s.liberi.begin() + static_cast<std::ptrdiff_t>(scelto));
      s.byte -= byte_di(v_);
      if (v_.size() < n) s.riempiti += n - v_.size();
    } else {
      ++s.allocazioni;
    }
  }
  // A fresh buffer is zero-filled once here, outside the lock, as is the
  // part of a kept one beyond what its last borrower used.
  v_.resize(n);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  std::fill(v_.begin(), v_.end(), std::numeric_limits<float>::quiet_NaN());
#endif
}

Prestito::~Prestito() {
  if (v_.capacity() == 0) return;
  Scorta& s = scorta();
  std::vector<std::vector<float>> via;  // freed outside the lock
  std::lock_guard<std::mutex> lk(s.m);
  s.byte += byte_di(v_);
  s.liberi.push_back(std::move(v_));
  while (s.liberi.size() > kBufferMassimi || (s.byte > kByteMassimi && s.liberi.size() > 1)) {
    s.byte -= byte_di(s.liberi.front());
    via.push_back(std::move(s.liberi.front()));
    s.liberi.erase(s.liberi.begin());
  }
}

uint64_t scorta_allocazioni() {
  std::lock_guard<std::mutex> lk(scorta().m);
  return scorta().allocazioni;
}

uint64_t scorta_riempiti() {
  std::lock_guard<std::mutex> lk(scorta().m);
  return scorta().riempiti;
}

size_t scorta_byte() {
  std::lock_guard<std::mutex> lk(scorta().m);
  return scorta().byte;
}

}  // namespace varno
