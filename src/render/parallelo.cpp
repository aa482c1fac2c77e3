#include "render/parallelo.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace varno {

namespace {

std::atomic<unsigned> g_forzato{0};
// Set once the pool and its list of threads exist. (No thread_local here: a
// module's dynamic TLS confuses LeakSanitizer's scan on this glibc.)
std::atomic<bool> g_pool_pronto{false};

// One call of parallel_for: it lives on the caller's stack until its last
// chunk is done, and the pool's mutex guards every field that changes.
struct Lavoro {
  uint64_t count;
  Suddivisione s;
  interno::Blocco blocco;
  void* corpo;
  uint64_t consegnati = 0;  // chunks handed to a worker
  uint64_t finiti = 0;
  std::exception_ptr errore;
  std::condition_variable fatto;
};

class Pool {
 public:
  Pool() {
    unsigned n = std::thread::hardware_concurrency();
    if (n == 0) n = 1;
    fili_.reserve(n);
    for (unsigned i = 0; i < n; ++i) {
      try {
        fili_.emplace_back([this] { ciclo(); });
      } catch (...) {
        break;  // fewer workers; with none at all the caller runs the chunks
      }
    }
    // The workers wait for work, which only comes after this constructor.
    for (const std::thread& t : fili_) id_.push_back(t.get_id());
  }

  // At unload: let every worker finish its chunk and leave, so no thread is
  // still in this module's code when it goes.
  ~Pool() {
    {
      std::lock_guard<std::mutex> lk(m_);
      stop_ = true;
    }
    lavoro_.notify_all();
    for (std::thread& t : fili_) t.join();
  }

  bool vuoto() const { return fili_.empty(); }
  bool mio(std::thread::id id) const { return std::find(id_.begin(), id_.end(), id) != id_.end(); }

  void esegui(Lavoro& l) {
    std::unique_lock<std::mutex> lk(m_);
    coda_.push_back(&l);
    if (l.s.blocchi >= fili_.size())
      lavoro_.notify_all();
    else
      for (uint64_t k = 0; k < l.s.blocchi; ++k) lavoro_.notify_one();
    l.fatto.wait(lk, [&] { return l.finiti == l.s.blocchi; });
  }

 private:
  void ciclo() {
    std::unique_lock<std::mutex> lk(m_);
    for (;;) {
      lavoro_.wait(lk, [&] { return stop_ || !coda_.empty(); });
      if (coda_.empty()) return;  // stopping, nothing left
      Lavoro& l = *coda_.front();
      const uint64_t k = l.consegnati++;
      if (l.consegnati == l.s.blocchi) coda_.pop_front();
      lk.unlock();
      const uint64_t inizio = k * l.s.passo;
      const uint64_t fine = inizio + l.s.passo < l.count ? inizio + l.s.passo : l.count;
      std::exception_ptr e;
      try {
        l.blocco(l.corpo, inizio, fine);
      } catch (...) {
        e = std::current_exception();
      }
      lk.lock();
      if (e && !l.errore) l.errore = e;
      // Notified under the lock: the caller cannot see the count, return and
      // take the job off its stack before this worker is done with it.
      if (++l.finiti == l.s.blocchi) l.fatto.notify_one();
    }
  }

  std::mutex m_;
  std::condition_variable lavoro_;
  std::deque<Lavoro*> coda_;
  bool stop_ = false;
  std::vector<std::thread> fili_;
  std::vector<std::thread::id> id_;
};

Pool& pool() {
  static Pool p;
  g_pool_pronto.store(true, std::memory_order_release);
  return p;
}

}  // namespace

unsigned thread_hardware() {
  const unsigned f = g_forzato.load(std::memory_order_relaxed);
  return f != 0 ? f : std::thread::hardware_concurrency();
}

void imposta_thread_hardware(unsigned n) { g_forzato.store(n, std::memory_order_relaxed); }

Suddivisione suddividi(uint64_t count, uint64_t hc) {
  if (hc < 2 || count < 16) return {};
  const uint64_t t = hc < count ? hc : count;
  const uint64_t passo = (count + t - 1) / t;
  // Rounding the chunk up can leave fewer chunks than threads.
  return {passo, (count + passo - 1) / passo};
}

namespace interno {

bool nel_pool() {
  return g_pool_pronto.load(std::memory_order_acquire) && pool().mio(std::this_thread::get_id());
}

void esegui_blocchi(uint64_t count, Suddivisione s, Blocco blocco, void* corpo) {
  Pool& p = pool();
  if (p.vuoto()) {
    blocco(corpo, 0, count);
    return;
  }
  Lavoro l{count, s, blocco, corpo, 0, 0, nullptr, {}};
  p.esegui(l);
  if (l.errore) std::rethrow_exception(l.errore);
}

}  // namespace interno

}  // namespace varno
