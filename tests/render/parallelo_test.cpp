#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "render/parallelo.h"

namespace {

using varno::imposta_thread_hardware;
using varno::parallel_for;
using varno::suddividi;

struct Visita {
  std::thread::id thread;
  uint64_t ordine;  // when it ran, across all threads
};

// Runs parallel_for with a forced hardware count and records, for each index,
// the thread that ran it and when.
std::vector<Visita> esegui(unsigned hc, uint64_t count) {
  imposta_thread_hardware(hc);
  std::atomic<uint64_t> contatore{0};
  std::vector<Visita> v(count);
  parallel_for(count, [&](uint64_t i) { v[i] = {std::this_thread::get_id(), contatore++}; });
  imposta_thread_hardware(0);
  return v;
}

TEST(ParallelFor, ItemsSplitIntoContiguousChunksRoundedUp) {
  const struct {
    uint64_t count, hc, passo, blocchi;
  } casi[] = {{16, 64, 1, 16}, {100, 8, 13, 8}, {17, 16, 2, 9}, {15, 64, 0, 0}, {16, 1, 0, 0}, {0, 8, 0, 0},
              {2160, 2, 1080, 2}, {6561, 32, 206, 32}};
  for (const auto& c : casi) {
    const varno::Suddivisione s = suddividi(c.count, c.hc);
    EXPECT_EQ(s.passo, c.passo) << c.count << " on " << c.hc;
    EXPECT_EQ(s.blocchi, c.blocchi) << c.count << " on " << c.hc;
  }
}

// Too few items for a split, or one hardware thread: all in order on the
// caller. Otherwise each chunk runs whole on one pool thread, in ascending
// order, and the caller runs none of them.
TEST(ParallelFor, SerialInOrderOnTheCallerElseEachChunkInOrderOnOnePoolThread) {
  for (auto [hc, count] : {std::pair<unsigned, uint64_t>{64, 15}, {1, 16}, {1, 1000}, {8, 0}, {8, 100}, {16, 17},
                           {3, 1000}}) {
    const auto v = esegui(hc, count);
    const varno::Suddivisione s = suddividi(count, hc);
    if (s.blocchi == 0)
      for (uint64_t i = 0; i < count; ++i) {
        ASSERT_EQ(v[i].ordine, i);
        ASSERT_EQ(v[i].thread, std::this_thread::get_id());
      }
    for (uint64_t b = 0; b < s.blocchi; ++b) {
      const uint64_t inizio = b * s.passo, fine = std::min(inizio + s.passo, count);
      for (uint64_t i = inizio; i < fine; ++i) {
        ASSERT_NE(v[i].thread, std::this_thread::get_id()) << i;
        if (i > inizio) {
          ASSERT_EQ(v[i].thread, v[inizio].thread) << "chunk " << b << " index " << i;
          ASSERT_GT(v[i].ordine, v[i - 1].ordine) << "chunk " << b << " index " << i;
        }
      }
    }
  }
}

// Several callers at once, each asking for more threads than there are: the
// work runs on one set of threads, started once, never more of them busy
// than the hardware has.
TEST(ParallelFor, CallersAtOnceShareOnePoolNoBusierThanTheHardware) {
  const unsigned hw = std::max(1u, std::thread::hardware_concurrency());
  imposta_thread_hardware(16);
  std::mutex m;
  std::set<std::thread::id> fili;
  std::atomic<int> occupati{0}, picco{0};
  auto lavoro = [&] {
    for (int giro = 0; giro < 30; ++giro)
      parallel_for(64, [&](uint64_t) {
        const int ora = ++occupati;
        int p = picco.load();
        while (ora > p && !picco.compare_exchange_weak(p, ora)) {
        }
        {
          std::lock_guard<std::mutex> lk(m);
          fili.insert(std::this_thread::get_id());
        }
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        --occupati;
      });
  };
  std::vector<std::thread> chiamanti;
  for (int i = 0; i < 4; ++i) chiamanti.emplace_back(lavoro);
  for (auto& t : chiamanti) t.join();
  imposta_thread_hardware(0);
  EXPECT_LE(fili.size(), hw);
  EXPECT_LE(picco.load(), static_cast<int>(hw));
}

TEST(ParallelFor, ABodyThatCallsParallelForRunsTheInnerCallInline) {
  imposta_thread_hardware(4);
  std::vector<int> visto(64 * 20, 0);
  std::atomic<int> fuori_dal_filo{0};
  parallel_for(64, [&](uint64_t i) {
    const std::thread::id io = std::this_thread::get_id();
    parallel_for(20, [&](uint64_t k) {
      if (std::this_thread::get_id() != io) ++fuori_dal_filo;
      ++visto[i * 20 + k];
    });
  });
  imposta_thread_hardware(0);
  EXPECT_EQ(fuori_dal_filo.load(), 0);
  EXPECT_EQ(std::count(visto.begin(), visto.end(), 1), 64 * 20);
}

TEST(ParallelFor, AWorkerErrorReachesTheCallerAfterEveryChunkHasFinished) {
  imposta_thread_hardware(4);
  std::atomic<int> finiti{0};
  EXPECT_THROW(parallel_for(64, [&](uint64_t i) {
                 if (i == 17) throw std::runtime_error("boom");
                 std::this_thread::sleep_for(std::chrono::microseconds(200));
                 ++finiti;
               }),
               std::runtime_error);
  // The other three chunks ran to their end before the error came back.
  EXPECT_GE(finiti.load(), 48);
  // And the pool is whole afterwards.
  std::atomic<int> dopo{0};
  parallel_for(64, [&](uint64_t) { ++dopo; });
  imposta_thread_hardware(0);
  EXPECT_EQ(dopo.load(), 64);
}

}  // namespace
