#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "render/parallelo.h"

namespace {

using varno::imposta_thread_hardware;
using varno::parallel_for;

struct Visita {
  uint64_t indice;
  std::thread::id thread;
};

// Runs parallel_for with a forced hardware count. Each worker waits at its first
// item until `attesi` threads are alive at once, so thread ids cannot be reused
// between chunks and each chunk maps to one id.
std::vector<Visita> esegui(unsigned hc, uint64_t count, unsigned attesi) {
  imposta_thread_hardware(hc);
  std::mutex m;
  std::condition_variable cv;
  unsigned arrivati = 0;
  std::map<std::thread::id, bool> visti;
  std::vector<Visita> visite;
  parallel_for(count, [&](uint64_t i) {
    std::unique_lock<std::mutex> lk(m);
    visite.push_back({i, std::this_thread::get_id()});
    if (attesi > 1 && !visti[std::this_thread::get_id()]) {
      visti[std::this_thread::get_id()] = true;
      ++arrivati;
      cv.notify_all();
      cv.wait_for(lk, std::chrono::seconds(20), [&] { return arrivati >= attesi; });
    }
  });
  imposta_thread_hardware(0);
  return visite;
}

// Chunks as (thread, first index, last index), in index order.
std::vector<std::vector<uint64_t>> per_thread(const std::vector<Visita>& v) {
  std::map<std::thread::id, std::vector<uint64_t>> m;
  for (const auto& x : v) m[x.thread].push_back(x.indice);
  std::vector<std::vector<uint64_t>> out;
  for (auto& [id, indici] : m) out.push_back(indici);
  std::sort(out.begin(), out.end());
  return out;
}

void ogni_indice_una_volta(const std::vector<Visita>& v, uint64_t count) {
  std::vector<int> visto(count, 0);
  for (const auto& x : v) ++visto.at(x.indice);
  for (uint64_t i = 0; i < count; ++i) ASSERT_EQ(visto[i], 1) << "index " << i;
}

TEST(ParallelFor, SerialPathsRunInOrderOnTheCallingThread) {
  for (auto [hc, count] : {std::pair<unsigned, uint64_t>{64, 15}, {1, 16}, {1, 1000}, {8, 0}}) {
    const auto v = esegui(hc, count, 1);
    ASSERT_EQ(v.size(), count);
    for (uint64_t i = 0; i < count; ++i) {
      EXPECT_EQ(v[i].indice, i);
      EXPECT_EQ(v[i].thread, std::this_thread::get_id());
    }
  }
}

TEST(ParallelFor, SixteenItemsOnSixtyFourThreadsGiveSixteenThreads) {
  const auto v = esegui(64, 16, 16);
  ogni_indice_una_volta(v, 16);
  const auto chunks = per_thread(v);
  ASSERT_EQ(chunks.size(), 16u);
  for (const auto& c : chunks) EXPECT_EQ(c.size(), 1u);
  for (const auto& x : v) EXPECT_NE(x.thread, std::this_thread::get_id());
}

TEST(ParallelFor, ChunksAreContiguousRoundedUpAndAscending) {
  // 100 items on 8 threads: chunk 13, the last thread gets 91..99.
  auto v = esegui(8, 100, 8);
  ogni_indice_una_volta(v, 100);
  auto chunks = per_thread(v);
  ASSERT_EQ(chunks.size(), 8u);
  for (size_t i = 0; i < chunks.size(); ++i) {
    const auto& c = chunks[i];
    const uint64_t inizio = i * 13, fine = std::min<uint64_t>(inizio + 13, 100);
    ASSERT_EQ(c.size(), fine - inizio);
    for (size_t k = 0; k < c.size(); ++k) EXPECT_EQ(c[k], inizio + k);
  }
  // 17 items on 16 threads: chunk 2, so only 9 threads start, the last with one item.
  v = esegui(16, 17, 9);
  ogni_indice_una_volta(v, 17);
  chunks = per_thread(v);
  ASSERT_EQ(chunks.size(), 9u);
  EXPECT_EQ(chunks.back(), std::vector<uint64_t>{16});
}

TEST(ParallelFor, AWorkerErrorReachesTheCallerAfterEveryThreadIsJoined) {
  imposta_thread_hardware(4);
  std::mutex m;
  int finiti = 0;
  EXPECT_THROW(parallel_for(64, [&](uint64_t i) {
                 if (i == 17) throw std::runtime_error("boom");
                 std::this_thread::sleep_for(std::chrono::microseconds(200));
                 std::lock_guard<std::mutex> lk(m);
                 ++finiti;
               }),
               std::runtime_error);
  imposta_thread_hardware(0);
  // The other chunks ran to their end before the error came back.
  std::lock_guard<std::mutex> lk(m);
  EXPECT_GE(finiti, 48);
}

}  // namespace
