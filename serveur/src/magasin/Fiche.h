#ifndef FICHE_H
#define FICHE_H

#include "OXvol_completDataC.h"
#include "OXvol_completDataChamps.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace orix::orb {
class LecteurRequete;
}

namespace serveur {

using Vol = OXvol_completData_v3_0_0; ///< a record as it travels

#define UNE(nom) +1
#define TROIS(nom) +3
/// The columns of a record's texts, its lists excepted.
constexpr int NOMBRE_COLONNES = OXVOL_COMPLET_CHAMPS(UNE, TROIS);
#undef UNE
#undef TROIS
constexpr int CHANGEMENTS_MAX = 6;
constexpr int POINTS_MAX = 10;
constexpr int PARTIES_CHANGEMENT = 3;

/// The texts of a record where they stand, in the order of the columns. Allocates nothing.
class TextesVol
{
  public:
    explicit TextesVol(const Vol& vol); ///< which outlives this object
    /// In the message, which ends with the reading. Throws CORBA::MARSHAL.
    explicit TextesVol(orix::orb::LecteurRequete& lecteur);

  private:
    friend class Fiche;

    struct Liste
    {
        std::string_view textes[CHANGEMENTS_MAX * PARTIES_CHANGEMENT]; // of either list
        int nombre = 0;

        void ajouter(std::string_view texte) { textes[nombre++] = texte; }
        std::size_t octets() const; ///< each with its NUL
    };
    static_assert(POINTS_MAX <= CHANGEMENTS_MAX * PARTIES_CHANGEMENT);

    std::string_view _colonnes[NOMBRE_COLONNES]; // null data: not set
    Liste _changements;
    Liste _points;
};

/// A record between the wire and the store: the content of its columns in one block of memory, where the form
/// of the wire has one for each text.
///
/// The columns are those of colonnesVol(), then the changed fields and the points. Each of these two is the
/// texts of its list, each closed by a NUL, which no CORBA string contains; an empty list is not set.
class Fiche
{
  public:
    Fiche() { _octets.reserve(RESERVE); }
    explicit Fiche(const Vol& vol) : Fiche(TextesVol(vol)) {}
    explicit Fiche(const TextesVol& textes);
    static std::shared_ptr<const Fiche> vide(); ///< nothing is set

    /// Adds the next column; null data: not set.
    void ajouter(std::string_view octets);

    /// Gives surColonne(octets) every column, in their order; null data: not set. What it is given is
    /// followed by a NUL, and lives as long as this object.
    template <class SurColonne>
    void parcourir(SurColonne surColonne) const
    {
        for (std::size_t position = 0; position < _octets.size();)
            surColonne(_lire(position));
    }

    std::size_t octets() const { return sizeof *this + _octets.capacity(); } ///< what it takes of memory

    /// The first column; null when it is not set, or empty.
    const char* identifiant() const;

  private:
    using Taille = std::uint32_t; // before the bytes of each column
    static constexpr Taille ABSENT = 0xFFFFFFFF;
    static constexpr std::size_t RESERVE = 768; // what a flight needs as a rule

    std::string_view _lire(std::size_t& position) const
    {
        Taille taille = 0;
        std::memcpy(&taille, _octets.data() + position, sizeof taille);
        position += sizeof taille;
        if (taille == ABSENT)
            return {};
        const std::string_view octets(_octets.data() + position, taille);
        position += taille + 1;
        return octets;
    }
    void _ajouterListe(const TextesVol::Liste& liste);

    std::string _octets;
};

using FichePartagee = std::shared_ptr<const Fiche>; ///< between the store, the queues and the senders

/// The record as it travels.
void operator>>=(const Fiche& fiche, cdrStream& flux);

} // namespace serveur

#endif
