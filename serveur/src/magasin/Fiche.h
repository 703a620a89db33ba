#ifndef FICHE_H
#define FICHE_H

#include "OXvol_completDataC.h"

#include "orix/INonCopiable.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace serveur {

using Vol = OXvol_completData_v3_0_0; ///< a record as it travels

/// A record between the wire and the store: the content of its columns in one block of memory, where the form
/// of the wire has one for each text.
///
/// The columns are those of colonnesVol(), then the changed fields and the points. Each of these two is the
/// texts of its list, each closed by a NUL, which no CORBA string contains; an empty list is not set.
class Fiche
{
  public:
    Fiche() { _octets.reserve(RESERVE); }
    explicit Fiche(const Vol& vol);
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
    template <class Sequence, class Ecriture>
    void _ajouterListe(const Sequence& sequence, Ecriture ecrire);

    std::string _octets;
};

using FichePartagee = std::shared_ptr<const Fiche>; ///< between the store, the queues and the senders

/// Lends a record of the wire the texts of a Fiche, instead of copies.
class VolPrete : orix::INonCopiable
{
  public:
    VolPrete() = default;
    ~VolPrete() { _reprendre(); }

    /// The result may be read as long as the Fiche lives, until the next loan.
    const Vol& preter(const Fiche& fiche);

  private:
    void _reprendre() noexcept;

    Vol _vol; // its sequences keep their buffers from one loan to the next
};

} // namespace serveur

#endif
