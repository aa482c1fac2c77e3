// The plug-in's twelve effect switches, by parameter name.
#pragma once

namespace prova {

inline const char* const kInterruttori[] = {"halation_on", "bloom_on",  "enhance_on", "vignetta_on",
                                            "promist_on",  "mistw_on",  "glimmer_on", "pelle_on",
                                            "streak_on",   "ca_on",     "grana_on",   "stella_on"};

}  // namespace prova
