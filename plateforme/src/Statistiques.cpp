#include "orix/Statistiques.h"

#include "ExecuteurCBImplementation.h"
#include "JournalTrace.h"

namespace orix {

Statistiques statistiques() noexcept
{
    Statistiques statistiques = ExecuteurCBImplementation::instance().compter();
    statistiques.tracesPerdues = journal::perdues();
    return statistiques;
}

} // namespace orix
