// The plug-in's boundary, driven through the exported entry points of the
// built bundle: entry points, load, dispatch, description, parameters and the
// instance's reactions.
#include <cstring>
#include <algorithm>

#include "comune.h"

namespace {

using ofxhost::Host;
using ofxhost::HostOptions;
using ofxhost::Plugin;
using prova::carica;
using prova::percorso_bundle;

const std::string kModulo = std::string(VARNO_TEST_BUNDLE) + "/Contents/Linux-x86-64/VarnoColor.ofx";

TEST(PuntiDiIngresso, OnePluginAtIndexZeroOnly) {
  void* lib = dlopen(kModulo.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  auto numero = reinterpret_cast<int (*)()>(dlsym(lib, "OfxGetNumberOfPlugins"));
  auto plugin = reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(lib, "OfxGetPlugin"));
  ASSERT_TRUE(numero && plugin);
  EXPECT_EQ(numero(), 1);
  EXPECT_EQ(plugin(1), nullptr);
  EXPECT_EQ(plugin(-1), nullptr);
  const OfxPlugin* p = plugin(0);
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p->pluginApi, "OfxImageEffectPluginAPI");
  EXPECT_EQ(p->apiVersion, 1);
  EXPECT_STREQ(p->pluginIdentifier, "com.varnotone.varnocolor");
  EXPECT_EQ(p->pluginVersionMajor, 1u);
  EXPECT_EQ(p->pluginVersionMinor, 0u);
  dlclose(lib);
}

TEST(Caricamento, FailsWithoutAHostOrASuite) {
  Plugin p = Host::open(percorso_bundle());
  p.set_host(nullptr);
  EXPECT_EQ(p.load(), kOfxStatFailed);
  // Actions after a failed load fail instead of calling through null suites.
  EXPECT_EQ(p.describe(), kOfxStatFailed);

  for (const char* suite : {"OfxImageEffectSuite", "OfxPropertySuite", "OfxParameterSuite"}) {
    HostOptions o;
    o.missing_suites = {suite};
    Plugin q = Host::open(percorso_bundle(), o);
    q.set_host();
    EXPECT_EQ(q.load(), kOfxStatFailed) << suite;
  }
  Plugin ok = Host::open(percorso_bundle());
  ok.set_host();
  EXPECT_EQ(ok.load(), kOfxStatOK);
  EXPECT_EQ(ok.load(), kOfxStatOK);  // a second load fetches again
}

TEST(Smistamento, StatusesOfTheActions) {
  Plugin p = carica();
  ofxhost::Instance inst = p.create_instance();
  EXPECT_EQ(inst.create_status(), kOfxStatOK);
  EXPECT_EQ(inst.call("OfxImageEffectActionGetClipPreferences"), kOfxStatReplyDefault);
  EXPECT_EQ(inst.call("OfxImageEffectActionGetRegionOfDefinition"), kOfxStatReplyDefault);
  EXPECT_EQ(inst.call("OfxImageEffectActionIsIdentity"), kOfxStatReplyDefault);
  EXPECT_EQ(inst.call("NoSuchAction"), kOfxStatReplyDefault);
  EXPECT_EQ(inst.call(""), kOfxStatReplyDefault);
  EXPECT_EQ(inst.changed("halation"), kOfxStatOK);
  EXPECT_EQ(inst.changed("Source", "OfxChangeUserEdited", "OfxTypeClip"), kOfxStatOK);
  // Instance-changed with no name at all does nothing and still answers OK.
  ofxhost::PropertySet vuoto;
  p.clear_log();
  EXPECT_EQ(inst.call("OfxActionInstanceChanged", &vuoto), kOfxStatOK);
  for (const auto& c : p.calls()) EXPECT_EQ(c.find("paramSetValue"), std::string::npos) << c;
  EXPECT_EQ(p.call("OfxActionInstanceChanged", inst.handle(), nullptr), kOfxStatOK);
  EXPECT_EQ(inst.destroy(), kOfxStatOK);
  EXPECT_EQ(p.unload(), kOfxStatReplyDefault);
}

// The eleven writes in order; also when the host withheld the parameter suite,
// which describe does not need (the load still fails).
TEST(Descrizione, PropertiesInOrder) {
  for (bool senza_parametri : {false, true}) {
    HostOptions o;
    if (senza_parametri) o.missing_suites = {"OfxParameterSuite"};
    Plugin p = Host::open(percorso_bundle(), o);
    p.set_host();
    ASSERT_EQ(p.load(), senza_parametri ? kOfxStatFailed : kOfxStatOK);
    p.clear_log();
    ASSERT_EQ(p.describe(), kOfxStatOK);
    std::vector<std::string> sets;
    for (const auto& c : p.calls())
      if (c.rfind("propSet", 0) == 0) sets.push_back(c);
    const std::vector<std::string> attese = {
        "propSetString OfxPropLabel 0 Varno Color",
        "propSetString OfxImageEffectPluginPropGrouping 0 Varno",
        "propSetString OfxImageEffectPropSupportedContexts 0 OfxImageEffectContextFilter",
        "propSetString OfxImageEffectPropSupportedContexts 1 OfxImageEffectContextGeneral",
        "propSetString OfxImageEffectPropSupportedPixelDepths 0 OfxBitDepthFloat",
        "propSetInt OfxImageEffectPropSupportsMultiResolution 0 0",
        "propSetInt OfxImageEffectPropSupportsTiles 0 0",
        "propSetString OfxImageEffectPluginRenderThreadSafety 0 OfxImageEffectRenderInstanceSafe",
        "propSetInt OfxImageEffectPluginPropHostFrameThreading 0 0",
        "propSetString OfxImageEffectPropClipPreferencesSlaveParam 0 grana_on",
        "propSetString OfxImageEffectPropClipPreferencesSlaveParam 1 grana",
    };
    EXPECT_EQ(sets, attese);
    if (senza_parametri) {
      EXPECT_EQ(p.describe_in_context("OfxImageEffectContextFilter"), kOfxStatFailed);
    }
  }
}

TEST(Descrizione, TwoRgbaClipsInBothContexts) {
  Plugin p = carica();
  for (const char* ctx : {"OfxImageEffectContextFilter", "OfxImageEffectContextGeneral"}) {
    ASSERT_EQ(p.describe_in_context(ctx), kOfxStatOK);
    EXPECT_EQ(p.clips(ctx), (std::vector<std::string>{"Source", "Output"}));
    for (const char* clip : {"Source", "Output"})
      EXPECT_EQ(p.clip(clip, ctx).strings("OfxImageEffectPropSupportedComponents"),
                std::vector<std::string>{"OfxImageComponentRGBA"});
    EXPECT_EQ(p.params(ctx).size(), 35u);
  }
}

struct Atteso {
  const char* nome;
  const char* tipo;
  const char* etichetta;
  double predefinito, minimo, massimo;
};

TEST(Parametri, TheWholeTableInOrder) {
  const std::string D = "OfxParamTypeDouble", B = "OfxParamTypeBoolean", C = "OfxParamTypeChoice";
  const Atteso tabella[35] = {
      {"formato", "C", "Log Format", 16, 0, 0},        {"cs_sony3", "C", "Color Space", 0, 0, 0},
      {"cs_sony2", "C", "Color Space ", 0, 0, 0},      {"cs_canon", "C", "Color Space  ", 0, 0, 0},
      {"cs_apple", "C", "Color Space   ", 0, 0, 0},    {"look", "C", "Look", 0, 0, 0},
      {"forza", "D", "Look Strength", 1, 0, 1},        {"ev", "D", "Exposure (EV)", 0, -2, 2},
      {"temp", "D", "Temperature", 0, -1, 1},          {"tinta", "D", "Tint", 0, -1, 1},
      {"halation_on", "B", "Halation", 1, 0, 0},       {"halation", "D", "Halation Amount", 0.28, 0, 0.6},
      {"bloom_on", "B", "Bloom", 1, 0, 0},             {"bloom", "D", "Bloom Amount", 0.16, 0, 0.6},
      {"enhance_on", "B", "Enhance", 1, 0, 0},         {"enhance", "D", "Enhance Amount", 0.06, 0, 0.6},
      {"vignetta_on", "B", "Vignette", 1, 0, 0},       {"vignetta", "D", "Vignette Amount", 0.1, 0, 0.6},
      {"promist_on", "B", "Black Pro-Mist", 0, 0, 0},  {"promist", "D", "Black Mist Grade", 0.25, 0, 1},
      {"mistw_on", "B", "White Pro-Mist", 0, 0, 0},    {"mistw", "D", "White Mist Grade", 0.25, 0, 1},
      {"glimmer_on", "B", "Glimmerglass", 0, 0, 0},    {"glimmer", "D", "Glimmer Grade", 0.25, 0, 1},
      {"pelle_on", "B", "Skin Diffusion", 0, 0, 0},    {"pelle", "D", "Skin Diffusion Grade", 0.25, 0, 1},
      {"streak_on", "B", "Anamorphic Streak", 0, 0, 0}, {"streak", "D", "Streak Amount", 0.15, 0, 0.6},
      {"ca_on", "B", "Chromatic Aberration", 0, 0, 0}, {"ca", "D", "Aberration Amount", 0.1, 0, 0.6},
      {"grana_on", "B", "Film Grain", 0, 0, 0},        {"grana", "D", "Grain Amount", 0.12, 0, 0.6},
      {"stella_on", "B", "Star Filter", 0, 0, 0},      {"stella", "D", "Star Amount", 0.3, 0, 1},
      {"punte", "C", "Star Points", 0, 0, 0},
  };
  Plugin p = carica();
  ASSERT_EQ(p.describe_in_context("OfxImageEffectContextFilter"), kOfxStatOK);
  const auto params = p.params();
  ASSERT_EQ(params.size(), 35u);
  const std::string grado = "Filter grade: 0.125 = 1/8, 0.25 = 1/4, 0.5 = 1/2, 1 = full strength";
  for (size_t i = 0; i < 35; ++i) {
    const Atteso& a = tabella[i];
    const ofxhost::Param& q = *params[i];
    SCOPED_TRACE(a.nome);
    EXPECT_EQ(q.name(), a.nome);
    EXPECT_EQ(q.type(), a.tipo[0] == 'D' ? D : a.tipo[0] == 'B' ? B : C);
    EXPECT_EQ(q.label(), a.etichetta);
    if (a.tipo[0] == 'D') {
      EXPECT_EQ(q.default_double(), a.predefinito);
      EXPECT_EQ(q.min(), a.minimo);
      EXPECT_EQ(q.max(), a.massimo);
      EXPECT_EQ(q.display_min(), a.minimo);
      EXPECT_EQ(q.display_max(), a.massimo);
      EXPECT_EQ(q.props().get_string("OfxParamPropDoubleType"), "OfxParamDoubleTypePlain");
    } else {
      EXPECT_EQ(q.default_int(), static_cast<int>(a.predefinito));
    }
    const std::string nome = a.nome;
    if (nome == "promist" || nome == "mistw" || nome == "glimmer" || nome == "pelle")
      EXPECT_EQ(q.hint(), grado);
    else if (nome == "cs_sony3")
      EXPECT_EQ(q.hint(),
                "Mirrorless (FX3/a7S III...) default to S-Gamut3.Cine; S-Gamut3 is the full gamut; Venice cameras "
                "have their own primaries");
    else
      EXPECT_EQ(q.hint(), "");
  }
  using V = std::vector<std::string>;
  EXPECT_EQ(p.param("formato").options(),
            (V{"Sony S-Log3", "Sony S-Log2", "ARRI LogC3", "ARRI LogC4", "Canon Log 3", "Panasonic V-Log",
               "Fujifilm F-Log", "Fujifilm F-Log2", "RED Log3G10", "Nikon N-Log", "DJI D-Log", "Apple Log",
               "Canon Log 2", "Fujifilm F-Log2 C", "Leica L-Log", "Apple Log 2", "Rec.709 (No Log)",
               "sRGB (No Log)"}));
  EXPECT_EQ(p.param("cs_sony3").options(), (V{"S-Gamut3.Cine", "S-Gamut3", "S-Gamut", "BT.2020", "709",
                                              "Venice S-Gamut3", "Venice S-Gamut3.Cine"}));
  EXPECT_EQ(p.param("cs_sony2").options(), (V{"S-Gamut", "BT.2020", "709"}));
  EXPECT_EQ(p.param("cs_canon").options(), (V{"Cinema Gamut", "BT.2020", "BT.709"}));
  EXPECT_EQ(p.param("cs_apple").options(), (V{"Rec.2020", "P3-D65", "Rec.709"}));
  EXPECT_EQ(p.param("look").options(), (V{"Nordic", "Cinema Print", "Midnight", "Daylight", "Linen", "Amber",
                                          "Ember", "Amalfi", "Velvet", "Brass", "Silk", "Olive"}));
  EXPECT_EQ(p.param("punte").options(), (V{"4", "6", "8"}));
}

TEST(Parametri, NoVisibilityOrPersistenceSetAtDefinition) {
  Plugin p = Host::open(percorso_bundle());
  p.set_host();
  ASSERT_EQ(p.load(), kOfxStatOK);
  ASSERT_EQ(p.describe(), kOfxStatOK);
  p.clear_log();
  ASSERT_EQ(p.describe_in_context("OfxImageEffectContextFilter"), kOfxStatOK);
  for (const auto& c : p.calls()) {
    EXPECT_EQ(c.find("OfxParamPropSecret"), std::string::npos) << c;
    EXPECT_EQ(c.find("OfxParamPropEnabled"), std::string::npos) << c;
    EXPECT_EQ(c.find("OfxParamPropPersistant"), std::string::npos) << c;
  }
}

// Which of the four colour-space choices is shown, per format.
std::string mostrate(ofxhost::Instance& inst) {
  std::string s;
  for (const char* cs : {"cs_sony3", "cs_sony2", "cs_canon", "cs_apple"})
    if (!inst.param(cs).secret()) s += std::string(s.empty() ? "" : ",") + cs;
  return s;
}

TEST(Istanza, TheFormatShowsItsOwnColourSpaceChoice) {
  Plugin p = carica();
  ofxhost::Instance inst = p.create_instance();
  EXPECT_EQ(mostrate(inst), "");  // the default format has no chooser
  const std::pair<int, const char*> casi[] = {{0, "cs_sony3"}, {1, "cs_sony2"}, {4, "cs_canon"}, {12, "cs_canon"},
                                              {11, "cs_apple"}, {2, ""},        {16, ""},         {15, ""}};
  for (auto [formato, attesa] : casi) {
    inst.set("formato", formato);
    EXPECT_EQ(mostrate(inst), attesa) << "formato " << formato;
  }
  // The hidden choices keep their values.
  inst.set("formato", 4);
  inst.set("cs_canon", 2);
  inst.set("formato", 16);
  EXPECT_EQ(inst.get_int("cs_canon"), 2);
}

TEST(Istanza, ASelectedLookWritesItsRecipeAndLeavesTheRestAlone) {
  Plugin p = carica();
  ofxhost::Instance inst = p.create_instance();
  inst.set("grana_on", 1);
  inst.set("grana", 0.4);
  inst.set("stella_on", 1);
  inst.set("forza", 0.7);
  p.clear_log();
  inst.set_choice("look", "Midnight");
  // The log shows what a look writes, so the tests that find no write in it can tell.
  const std::vector<std::string> scritto = p.calls();
  EXPECT_NE(std::find(scritto.begin(), scritto.end(), "paramSetValue promist_on 1"), scritto.end());
  EXPECT_EQ(inst.get_double("promist"), static_cast<double>(0.5f));
  EXPECT_EQ(inst.get_int("promist_on"), 1);
  EXPECT_EQ(inst.get_double("mistw"), 0.0);
  EXPECT_EQ(inst.get_int("mistw_on"), 0);
  EXPECT_EQ(inst.get_double("halation"), static_cast<double>(0.42f));  // the float, widened
  EXPECT_EQ(inst.get_double("streak"), static_cast<double>(0.18f));
  EXPECT_EQ(inst.get_int("streak_on"), 1);
  EXPECT_EQ(inst.get_double("enhance"), 0.0);
  EXPECT_EQ(inst.get_int("enhance_on"), 0);
  inst.set_choice("look", "Linen");
  EXPECT_EQ(inst.get_int("halation_on"), 0);
  EXPECT_EQ(inst.get_int("promist_on"), 0);
  EXPECT_EQ(inst.get_double("bloom"), static_cast<double>(0.08f));
  // Grain, the star filter and the grade controls belong to the user.
  EXPECT_EQ(inst.get_int("grana_on"), 1);
  EXPECT_EQ(inst.get_double("grana"), 0.4);
  EXPECT_EQ(inst.get_int("stella_on"), 1);
  EXPECT_EQ(inst.get_double("forza"), 0.7);
}

TEST(Istanza, OtherChangesAndLooksBeyondTheListWriteNothing) {
  Plugin p = carica();
  ofxhost::Instance inst = p.create_instance();
  for (int look : {12, -1, 1000}) {
    p.clear_log();
    inst.set("look", look);
    for (const auto& c : p.calls()) EXPECT_EQ(c.find("paramSetValue"), std::string::npos) << look << ": " << c;
  }
  for (const char* nome : {"cs_sony3", "halation", "punte"}) {
    p.clear_log();
    inst.set(nome, 1);
    for (const auto& c : p.calls()) {
      EXPECT_EQ(c.find("paramSetValue"), std::string::npos) << nome << ": " << c;
      EXPECT_EQ(c.find("OfxParamPropSecret"), std::string::npos) << nome << ": " << c;
    }
  }
  // A fresh instance keeps the defaults whatever its look; the effects on by default stay on.
  EXPECT_EQ(inst.get_int("enhance_on"), 1);
  EXPECT_EQ(inst.get_double("bloom"), 0.16);
}

}  // namespace
