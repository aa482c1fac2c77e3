#include "colore/colore.h"
namespace varno {
RGB applica_colore(RGB codice, const Contesto&) { return codice; }
}  // namespace varno
