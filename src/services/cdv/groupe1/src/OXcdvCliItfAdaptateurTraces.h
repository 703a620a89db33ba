#ifndef OXCDVCLIITFADAPTATEURTRACES_H
#define OXCDVCLIITFADAPTATEURTRACES_H

#include "orix/Trace.h"

// The traces of the adapter, whichever of its sources makes them. In the steps that have handlers what a
// receiver throws goes to these; where there are none, and in the handlers, nothing gets out: no event is cut
// short by a trace.
#define TRACER(niveau, fonction, texte) ORIX_TRACE(niveau, "OXcdvCliItfAdaptateur", fonction, texte)
#define TRACER_SANS_ECHEC(niveau, fonction, texte)                                                           \
    ORIX_TRACE_SANS_ECHEC(niveau, "OXcdvCliItfAdaptateur", fonction, texte)
#define TRACER_ENTREE() TRACER_SANS_ECHEC(::orix::NTO_PROGRES, __PRETTY_FUNCTION__, "Entrée.")
#define TRACER_SORTIE() TRACER_SANS_ECHEC(::orix::NTO_PROGRES, __PRETTY_FUNCTION__, "Sortie.")

/// A condition that should hold: reported, never enforced.
#define VERIFIER(condition, fonction)                                                                        \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            TRACER_SANS_ECHEC(::orix::NTO_NOTABLE, fonction, "Non Validé (" << #condition << ")");           \
    } while (false)

#endif
