// Which vector instructions the kernels may use, chosen at run time so that one
// module serves every x86-64 processor. Each kernel has one file per variant
// (name_sse2.cpp, name_avx2.cpp, name_avx512.cpp); the wider variants mark
// their functions with VARNO_AVX2 or VARNO_AVX512 rather than compiling the
// whole file for a newer processor, so no shared inline code built for one
// can end up called on a processor without it. Every variant performs the
// same operations in the same order as the one-pixel rule, without fused
// multiply-add, and so gives the same bits.
#pragma once

namespace varno {

enum class Isa : int { sse2 = 0, avx2 = 1, avx512 = 2 };

#define VARNO_AVX2 __attribute__((target("avx2")))
#define VARNO_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq,avx2")))

// The widest set this processor and its operating system support.
Isa isa_disponibile();
// What the kernels use: the widest available, or less if a test asked so.
Isa isa_attiva();
// Tests: run the kernels no wider than `massima` (isa_disponibile() restores).
void limita_isa(Isa massima);

const char* nome_isa(Isa isa);

}  // namespace varno
