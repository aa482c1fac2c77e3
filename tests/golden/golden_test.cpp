// The golden net: every scenario of scenari.h rendered through the built
// bundle must give exactly the bits recorded in impronte.txt. A failure names
// the scenario. scripts/golden-regenerate.sh rewrites the record, for a change
// of behaviour that is meant.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "host/entry.h"
#include "render/parallelo.h"
#include "scenari.h"

namespace {

using golden::Esito;
using golden::Scenario;

const char* const kFile = VARNO_TEST_DATA "/impronte.txt";

bool rigenera() {
  const char* e = std::getenv("VARNO_GOLDEN_RIGENERA");
  return e != nullptr && *e != '\0' && *e != '0';
}

struct Registro {
  std::vector<std::string> ordine;
  std::map<std::string, Esito> voci;
};

// "<digest hex> <status> <name>" a line, in the order of the list.
Registro leggi_registro() {
  Registro r;
  std::ifstream in(kFile);
  std::string riga;
  while (std::getline(in, riga)) {
    if (riga.empty() || riga[0] == '#') continue;
    std::istringstream s(riga);
    std::string hex, nome;
    Esito e;
    s >> hex >> e.stato;
    std::getline(s >> std::ws, nome);
    e.impronta = std::stoull(hex, nullptr, 16);
    r.ordine.push_back(nome);
    r.voci[nome] = e;
  }
  return r;
}

const Registro& registro() {
  static const Registro r = leggi_registro();
  return r;
}

// What this run rendered, written out at the end when regenerating.
std::map<std::string, Esito>& nuovi() {
  static std::map<std::string, Esito> m;
  return m;
}

class Scrittura : public ::testing::Environment {
 public:
  void TearDown() override {
    if (!rigenera() || nuovi().empty()) return;
    // Keep what this run did not render; the list's order decides the file's.
    std::map<std::string, Esito> tutti = registro().voci;
    for (const auto& [n, e] : nuovi()) tutti[n] = e;
    std::ofstream out(kFile, std::ios::trunc);
    out << "# Output digests of the golden renders (FNV-1a 64 of the output image, status, scenario).\n"
           "# Regenerate with scripts/golden-regenerate.sh, only for a change of behaviour that is meant.\n";
    for (const Scenario& s : golden::scenari()) {
      auto it = tutti.find(s.nome);
      if (it == tutti.end()) continue;
      char hex[17];
      std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(it->second.impronta));
      out << hex << ' ' << it->second.stato << ' ' << s.nome << '\n';
    }
    std::printf("golden: wrote %zu digests to %s\n", tutti.size(), kFile);
  }
};
const auto* const kAmbiente = ::testing::AddGlobalTestEnvironment(new Scrittura);

ofxhost::Plugin& bundle() {
  static ofxhost::Plugin p = [] {
    ofxhost::HostOptions o;
    o.record_calls = false;
    return ofxhost::Host::load(VARNO_TEST_BUNDLE, o);
  }();
  return p;
}

void verifica(const Scenario& s, const Esito& e) {
  if (rigenera()) {
    nuovi()[s.nome] = e;
    return;
  }
  auto it = registro().voci.find(s.nome);
  ASSERT_NE(it, registro().voci.end()) << "scenario " << s.nome << " has no recorded digest";
  EXPECT_EQ(e.stato, it->second.stato) << "scenario " << s.nome;
  EXPECT_EQ(e.impronta, it->second.impronta) << "scenario " << s.nome << ": the output bits changed";
}

void famiglia(const std::string& nome) {
  int n = 0;
  for (const Scenario& s : golden::scenari()) {
    if (s.famiglia != nome) continue;
    ++n;
    verifica(s, golden::esegui(bundle(), s));
  }
  EXPECT_GT(n, 0);
}

TEST(Golden, TheRecordHoldsEveryScenarioOnce) {
  if (rigenera()) GTEST_SKIP() << "regenerating";
  std::map<std::string, int> visti;
  for (const Scenario& s : golden::scenari()) {
    EXPECT_EQ(++visti[s.nome], 1) << "two scenarios named " << s.nome;
    EXPECT_EQ(registro().voci.count(s.nome), 1u) << "no digest for " << s.nome;
  }
  EXPECT_EQ(registro().voci.size(), visti.size()) << "the record names scenarios the list no longer has";
}

TEST(Golden, Formats) { famiglia("formati"); }
TEST(Golden, Looks) { famiglia("looks"); }
TEST(Golden, ExposureAndWhiteBalance) { famiglia("grado"); }
TEST(Golden, EachEffectAlone) { famiglia("effetti"); }
TEST(Golden, TheWholeChain) { famiglia("catena"); }
TEST(Golden, GrainOverTime) { famiglia("grana"); }
TEST(Golden, OddThinAndTinySizes) { famiglia("misure"); }
TEST(Golden, WindowsAndBounds) { famiglia("finestre"); }
TEST(Golden, HostileSourceValues) { famiglia("ostile"); }

// The same bits whatever the number of threads: the plug-in linked into this
// process, told it has 1 or 7 hardware threads.
TEST(Golden, TheChainGivesTheSameBitsOnOneAndSevenThreads) {
  if (rigenera()) GTEST_SKIP() << "regenerating";
  ofxhost::HostOptions o;
  o.record_calls = false;
  ofxhost::Plugin p = ofxhost::Host::adopt(varno::descrittore_plugin(), o);
  p.set_host();
  ASSERT_EQ(p.load(), kOfxStatOK);
  ASSERT_EQ(p.describe(), kOfxStatOK);
  for (unsigned fili : {1u, 7u}) {
    varno::imposta_thread_hardware(fili);
    for (const Scenario& s : golden::scenari())
      if (s.famiglia == "catena" || s.nome.find("/tutti") != std::string::npos) {
        SCOPED_TRACE(std::to_string(fili) + " threads");
        verifica(s, golden::esegui(p, s));
      }
  }
  varno::imposta_thread_hardware(0);
}

}  // namespace
