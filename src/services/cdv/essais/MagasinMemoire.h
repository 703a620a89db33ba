#ifndef CDV_MAGASINMEMOIRE_H
#define CDV_MAGASINMEMOIRE_H

#include "CdvEssais.h"

#include <map>

namespace cdv {

/// Whether a listing by that example gives the record.
bool ressemble(const Vol& vol, const Vol& exemple);

/// The records of a service in memory. To be guarded by whoever has threads.
class MagasinMemoire
{
  public:
    using Requete = orix::OXcdvCliDoublure::Requete;

    void poser(Vol vol);
    std::optional<Vol> lire(std::string_view identifiant) const;
    std::size_t nombre() const { return _vols.size(); }

    /// Does what is asked, unless it is a listing: the code, and the record that the answer brings.
    std::pair<int, Vol> executer(Requete requete, const Vol& vol);

    /// The next record like the example, by identifier, behind that one, which is replaced; what comes and
    /// goes meanwhile may be given or not.
    std::optional<Vol> suivant(const Vol& exemple, std::string& dernier) const;

  private:
    std::map<std::string, Vol, std::less<>> _vols;
};

} // namespace cdv

#endif
