#ifndef CDV_DEMANDE_H
#define CDV_DEMANDE_H

#include "Instant.h"
#include "Livraisons.h"

#include <limits>

namespace cdv {

enum class Genre : int
{
    creer,
    modifier,
    supprimer,
    consulter,
    lister
};
constexpr bool estLecture(Genre genre) { return genre == Genre::consulter || genre == Genre::lister; }

/// What came for a request, as much of it as is kept.
struct Notification
{
    enum class Sorte
    {
        vol,   ///< a record of a listing
        fin,   ///< the answer, with its record or without
        perdue ///< either of them, for which memory lacked
    };
    Sorte sorte;
    int code = 0;
    std::optional<Vol> vol;
};

/// One request, from the call that makes it to its end.
class Demande : public Livrable
{
  public:
    virtual void recevoir(Vol) {} ///< a record of a listing; may throw std::bad_alloc
    /// Takes the result; true when livrer() has to be called for it.
    virtual bool conclure(Resultat resultat) noexcept = 0;
    /// Runs the application's completion.
    void livrer() override {}

    /// @name Records that wait for their reader, and how many may
    /// @{
    virtual std::size_t enAttente() const noexcept { return 0; }
    virtual std::size_t capacite() const noexcept { return std::numeric_limits<std::size_t>::max(); }
    /// @}

  private:
    friend class TableDemandes;
    unsigned long long _rang = 0;
    Genre _genre = Genre::creer;
    int _idOp = 0; ///< 0 until the call has returned it
    Duree _delai{0};
    Instant _echeance = JAMAIS;
    Instant _debut;
    bool _retenue = false; ///< its next record waits for a place
    bool _finie = false;
};

} // namespace cdv

#endif
