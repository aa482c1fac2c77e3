#include "colore/profili.h"
namespace varno {
const ProfiloCamera PROFILI[kNumeroProfili] = {};
RGB decodifica(RGB codice, int32_t) { return codice; }
int32_t risolvi_profilo(int32_t, int32_t, int32_t, int32_t, int32_t) { return 30; }
}  // namespace varno
