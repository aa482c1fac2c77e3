// Counts every allocation of a megabyte or more that this process makes through operator
// new. Include it in one file of a test program only: it replaces the global operators.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
std::atomic<uint64_t> g_grandi{0};
}
void* operator new(size_t n) {
  if (n >= (size_t{1} << 20)) ++g_grandi;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
