// A host's suite call that throws a C++ exception through the plug-in: the
// plug-in answers with a status, gives back what it holds and stays usable.
#include <new>
#include <stdexcept>
#include <string>

#include "comune.h"

namespace {

using ofxhost::Image;

// What the next call of the chosen suite function throws, if anything.
enum class Lancio { Niente, Memoria, Errore, Intero };
Lancio gLancio = Lancio::Niente;
std::string gProprieta;  // the property whose read throws
const OfxHost* gVero = nullptr;
OfxPropertySuiteV1 gSuite;

void forse_lancia(const char* proprieta) {
  if (gLancio == Lancio::Niente || gProprieta != proprieta) return;
  const Lancio l = gLancio;
  gLancio = Lancio::Niente;
  if (l == Lancio::Memoria) throw std::bad_alloc();
  if (l == Lancio::Errore) throw std::runtime_error("host failure");
  throw 42;
}

OfxStatus get_int_n(OfxPropertySetHandle p, const char* nome, int n, int* v) {
  forse_lancia(nome);
  return ofxhost::Host::property_suite()->propGetIntN(p, nome, n, v);
}

OfxStatus get_pointer(OfxPropertySetHandle p, const char* nome, int i, void** v) {
  forse_lancia(nome);
  return ofxhost::Host::property_suite()->propGetPointer(p, nome, i, v);
}

const void* fetch(OfxPropertySetHandle host, const char* nome, int versione) {
  if (std::string(nome) == kOfxPropertySuite) return &gSuite;
  return gVero->fetchSuite(host, nome, versione);
}

TEST(Eccezioni, AThrowingHostCallEndsTheActionWithAStatusAndReleasesTheImages) {
  ofxhost::HostOptions o;
  o.record_calls = false;
  ofxhost::Plugin p = ofxhost::Host::open(prova::percorso_bundle(), o);
  gVero = p.host_record();
  gSuite = *ofxhost::Host::property_suite();
  gSuite.propGetIntN = get_int_n;
  gSuite.propGetPointer = get_pointer;
  OfxHost nostro{gVero->host, fetch};
  p.set_host(&nostro);
  ASSERT_EQ(p.load(), kOfxStatOK);
  ASSERT_EQ(p.describe(), kOfxStatOK);
  ofxhost::Instance inst = p.create_instance();
  Image src({0, 0, 16, 16}), dst({0, 0, 16, 16});
  prova::riempi_rampa(src);

  const struct {
    Lancio lancio;
    const char* proprieta;
    OfxStatus atteso;
  } casi[] = {
      {Lancio::Memoria, kOfxImageEffectPropRenderWindow, kOfxStatErrMemory},
      {Lancio::Errore, kOfxImageEffectPropRenderWindow, kOfxStatFailed},
      {Lancio::Intero, kOfxImageEffectPropRenderWindow, kOfxStatFailed},
      // Thrown while both images are held.
      {Lancio::Memoria, kOfxImagePropData, kOfxStatErrMemory},
      {Lancio::Errore, kOfxImagePropBounds, kOfxStatFailed},
  };
  for (const auto& c : casi) {
    SCOPED_TRACE(c.proprieta);
    dst.fill(-1, -1, -1, -1);
    gLancio = c.lancio;
    gProprieta = c.proprieta;
    EXPECT_EQ(inst.render(0, {0, 0, 16, 16}, src, dst), c.atteso);
    EXPECT_EQ(gLancio, Lancio::Niente) << "the throwing call was never made";
    EXPECT_EQ(inst.images_held(), 0);
    EXPECT_EQ(dst.pixel(5, 5)[0], -1.0f);
  }
  gProprieta.clear();
  EXPECT_EQ(inst.render(0, {0, 0, 16, 16}, src, dst), kOfxStatOK);
  EXPECT_NE(dst.pixel(5, 5)[0], -1.0f);
}

}  // namespace
