#ifndef LECTUREPOSTGRESQL_H
#define LECTUREPOSTGRESQL_H

#include "LienPostgresql.h"

namespace serveur {

struct Filtre;

/// Reads in PostgreSQL. What a lost connection has broken off is done again on the next one.
class LecturePostgresql : public Lecture
{
  public:
    /// All of them outlive this object.
    LecturePostgresql(const AdressePostgresql& adresse, const Presse& presse, SuiviLiens& suivi);

    std::size_t consulter(const Lot& lot) noexcept override;
    int lister(const Fiche& exemple, Parcours& parcours, std::size_t octets,
               const SurVol& surVol) noexcept override;

  private:
    /// Runs the action until the connection holds; whether it came to its end. What is pending in it then is
    /// ECHEC_MAGASIN.
    template <class Action>
    bool _essayer(const char* quoi, Action action) noexcept;
    void _consulter(Lot::const_iterator& demande, Lot::const_iterator fin, std::size_t& rendus);
    void _lister(const Filtre& filtre, Parcours& parcours, std::size_t octets, const SurVol& surVol);
    std::string _borner(ConnexionPostgresql& connexion, const Filtre& filtre, const Parcours& parcours);

    const std::string _consultation;
    std::size_t _lignes = 64; // that a slice asks for: as many as seem to fill it
    LienPostgresql _lien;
};

} // namespace serveur

#endif
