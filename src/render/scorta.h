// Working buffers kept from frame to frame. A 4K frame's planes are hundreds
// of megabytes; taken fresh each frame they cost the host page faults and the
// kernel's zeroing. A render borrows what it needs and gives it back at the
// end; renders running at once each get buffers of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace varno {

// A borrowed buffer of exactly n floats whose contents are whatever the last
// user left (NaN in sanitizer builds, so a reader of unwritten values shows):
// the borrower writes every value before reading it. Given back on destruction.
class Prestito {
 public:
  explicit Prestito(size_t n);
  ~Prestito();
  Prestito(const Prestito&) = delete;
  Prestito& operator=(const Prestito&) = delete;

  std::vector<float>& operator*() { return v_; }
  std::vector<float>* operator->() { return &v_; }
  float* data() { return v_.data(); }

 private:
  std::vector<float> v_;
};

// Fresh allocations made since the process started (tests).
uint64_t scorta_allocazioni();
// Floats zero-filled since the process started because a kept buffer lent
// for a larger request had been shorter (tests).
uint64_t scorta_riempiti();
// Bytes held for reuse right now (tests).
size_t scorta_byte();

}  // namespace varno
