#ifndef CDV_MAGASINMEMOIRE_H
#define CDV_MAGASINMEMOIRE_H

#include "CdvEssais.h"

#include <map>

namespace cdv {

/// The records of a service in memory. To be guarded by whoever has threads.
class MagasinMemoire
{
  public:
    using Requete = orix::OXcdvCliDoublure::Requete;

    void poser(Vol vol);
    std::optional<Vol> lire(std::string_view identifiant) const;
    std::size_t nombre() const { return _vols.size(); }
    void generer(std::size_t nombre, std::function<Vol(std::size_t)> fabrique);

    /// Does what is asked, unless it is a listing: the code, and the record that the answer brings.
    std::pair<int, Vol> executer(Requete requete, const Vol& vol);

    /// How far a listing is.
    struct Curseur
    {
        std::string dernier; ///< identifier
        std::size_t generes = 0;
    };
    /// The next record like the example, by identifier; what comes and goes meanwhile may be given or not.
    std::optional<Vol> suivant(const Vol& exemple, Curseur& curseur) const;

  private:
    std::map<std::string, Vol, std::less<>> _vols;
    std::size_t _nombre = 0;
    std::function<Vol(std::size_t)> _fabrique;
};

} // namespace cdv

#endif
