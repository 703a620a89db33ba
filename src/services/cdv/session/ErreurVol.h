#ifndef ERREURVOL_H
#define ERREURVOL_H

#include "orix/Exportation.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cdv {

/// A value that a flight record cannot hold, or a text that describes none; what() is one line that says
/// where and why. Programs read the parts.
class ORIX_API ErreurVol : public std::invalid_argument
{
  public:
    /// What is wrong.
    enum class Motif
    {
        octetNul,          ///< a null byte does not fit in a field; no subject
        pasUtf8,           ///< the text is not UTF-8; the number of the byte, from 1
        horsLatin1,        ///< a character that ISO-8859-1 does not have: "U+20AC"
        champInconnu,      ///< the name that no field has
        partieInconnue,    ///< the name that no part of a changed field has
        nomRepete,         ///< the name that an object has twice
        champRepete,       ///< a field given twice, in two spellings; no subject
        tropDePoints,      ///< more route points than the number given
        tropDeChangements, ///< more changed fields than the number given
        json,              ///< not JSON; line and column from 1, when they are known
        tropProfond,       ///< nested deeper than the number of levels given
        texte,             ///< a text was expected; what was found instead
        tableauTextes,     ///< an array of texts was expected; no subject
        tableauObjets,     ///< an array of objects; no subject
        objet,             ///< an object; no subject
        objetJson          ///< a whole text that is an object; no subject
    };

    /// raison: the words of a library, in its language; may be empty.
    explicit ErreurVol(Motif motif, std::vector<std::string> sujets = {}, std::string raison = {});
    /// The same, found in that member.
    ErreurVol(const ErreurVol& erreur, const std::string& endroit);
    ErreurVol(const ErreurVol& autre) noexcept; ///< shares the parts
    ~ErreurVol() override;

    Motif motif() const noexcept;
    const std::string& endroit() const noexcept;             ///< name of the member; empty: the value itself
    const std::vector<std::string>& sujets() const noexcept; ///< as the reason says
    const std::string& raison() const noexcept;

  private:
    struct Parties;
    explicit ErreurVol(std::shared_ptr<const Parties> parties);

    std::shared_ptr<const Parties> _parties;
};

} // namespace cdv

#endif
