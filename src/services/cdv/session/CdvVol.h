#ifndef CDVVOL_H
#define CDVVOL_H

#include "ErreurVol.h"
#include "OXvol_completDataChamps.h"
#include "orix/Exportation.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class OXvol_completData;

namespace cdv {

/// @cond
#define CDV_TEXTE(nom) nom,
#define CDV_CODE_STAT(nom) nom##_gcode, nom##_glibelle, nom##_gheure_chgt,
/// @endcond
/// The texts of a flight record, in wire order: its 55 text fields, under the record's own names, and the
/// three parts of each of its two status codes (pcode_stat_depart_gcode...). What each holds: champs.md, or
/// "cdv --champs".
enum class Champ : int
{
    OXVOL_COMPLET_CHAMPS(CDV_TEXTE, CDV_CODE_STAT)
};
#undef CDV_TEXTE
#undef CDV_CODE_STAT

/// One changed field of a record. Empty optionals are texts that are not set. As an argument the views are
/// copied by the record; as a result they belong to it.
struct Changement
{
    std::optional<std::string_view> rubrique;       ///< name of the field
    std::optional<std::string_view> ancienneValeur; ///< its text before
    std::optional<std::string_view> nouvelleValeur; ///< its text after

    /// The same parts set, to the same texts.
    friend bool operator==(const Changement& a, const Changement& b)
    {
        return a.rubrique == b.rubrique && a.ancienneValeur == b.ancienneValeur &&
               a.nouvelleValeur == b.nouvelleValeur;
    }
    /// The contrary.
    friend bool operator!=(const Changement& a, const Changement& b) { return !(a == b); }
};

/// A flight record as a value: moved, compared, read and written by field, converted from and to JSON.
///
///     cdv::Vol vol{{"identifiant", "20261121DAFR012-000"}, {"parking", "B12"}};
///     vol.ecrire(cdv::Champ::gpiste, "14L").ecrire("nature", "");
///     if (auto piste = vol.lire("piste")) ...
///
/// Names: a field has one name with three spellings, "identifiant", "gidentifiant" and "m_gidentifiant"; the
/// parts of the status codes are "code_stat_depart.code", "code_stat_depart.libelle",
/// "code_stat_depart.heure_chgt", and the same for "code_stat_arrivee". An unknown name throws ErreurVol. Set
/// and not set: a field that is not set reads as an empty optional; the empty string is a value like another.
/// Characters: fields hold ISO-8859-1 bytes and go to the server as they are; depuisUtf8() and versUtf8()
/// convert. No null byte fits in. The text "__PtrNULL__" stands for "not set" on the wire: a field that holds
/// it arrives unset. Ownership: the value owns its record. Views read from it live until the field is
/// written, or the value moved from or destroyed. A moved-from value is an empty record. Copies are asked for
/// by name: copier(). Threads: a value belongs to one thread at a time.
class ORIX_API Vol
{
  public:
    Vol() noexcept; ///< nothing is set
    /// With these fields, by name. Throws ErreurVol as ecrire() does.
    Vol(std::initializer_list<std::pair<std::string_view, std::string_view>> champs);
    explicit Vol(const OXvol_completData& source); ///< a deep copy
    Vol(Vol&& source) noexcept;                    ///< the source is left empty
    Vol& operator=(Vol&& source) noexcept;         ///< likewise
    Vol(const Vol&) = delete;                      ///< a copy is asked for by name: copier()
    Vol& operator=(const Vol&) = delete;           ///< a copy is asked for by name: copier()
    ~Vol();

    /// Takes the content out of a record, which is left empty; no text is copied. To be used on the record
    /// that a callback receives: it dies right after anyway, and does not miss what was taken.
    static Vol prendre(OXvol_completData& source);
    Vol copier() const; ///< a deep copy

    /// @name Fields
    /// @{
    std::optional<std::string_view> lire(Champ champ) const noexcept; ///< empty: not set
    /// By name.
    std::optional<std::string_view> lire(std::string_view nom) const { return lire(champ(nom)); }
    /// The text; that one when the field is not set.
    std::string_view lire_ou(Champ champ, std::string_view sinon) const noexcept
    {
        return lire(champ).value_or(sinon);
    }
    /// By name.
    std::string_view lire_ou(std::string_view nom, std::string_view sinon) const
    {
        return lire_ou(champ(nom), sinon);
    }
    /// Throws ErreurVol for a null byte in the value.
    Vol& ecrire(Champ champ, std::string_view valeur);
    /// By name.
    Vol& ecrire(std::string_view nom, std::string_view valeur) { return ecrire(champ(nom), valeur); }
    /// The field is not set any more. A status code disappears with the last of its parts.
    Vol& effacer(Champ champ);
    /// By name.
    Vol& effacer(std::string_view nom) { return effacer(champ(nom)); }
    bool estVide() const noexcept; ///< no field, no change and no point is set

    static const std::vector<std::string_view>& champs();       ///< the short names, in wire order
    static std::string_view nom(Champ champ);                   ///< the short name
    static Champ champ(std::string_view nom);                   ///< in any spelling; throws ErreurVol
    static std::optional<Champ> chercher(std::string_view nom); ///< in any spelling
    /// @}

    /// @name Route points
    /// At most OXvol_completData::MAX_POINT.
    /// @{
    std::size_t nombrePoints() const noexcept;       ///< 0: the list is not sent
    std::string_view point(std::size_t index) const; ///< throws std::out_of_range
    std::vector<std::string_view> points() const;    ///< in flight order, as they were added
    Vol& ajouterPoint(std::string_view point);       ///< throws ErreurVol when the list is full
    Vol& viderPoints() noexcept;                     ///< a change then leaves the server's list alone
    /// @}

    /// @name Changed fields
    /// At most OXvol_completData::MAX_RUB_CHGT.
    /// @{
    std::size_t nombreChangements() const noexcept;       ///< 0: the list is not sent
    Changement changement(std::size_t index) const;       ///< throws std::out_of_range
    std::vector<Changement> changements() const;          ///< as they were added
    Vol& ajouterChangement(const Changement& changement); ///< throws ErreurVol when the list is full
    Vol& viderChangements() noexcept;                     ///< as viderPoints()
    /// @}

    /// Same fields set, to the same texts, same changes and points in the same order. A status code without
    /// any part counts as absent.
    friend ORIX_API bool operator==(const Vol& a, const Vol& b);
    /// The contrary.
    friend bool operator!=(const Vol& a, const Vol& b) { return !(a == b); }

    /// @name JSON
    /// One object in UTF-8, one member for each field that is set, under its short name, in wire order; the
    /// status codes are objects of theirs; "changements" and "points" are arrays, absent when empty:
    ///
    ///     {"identifiant": "20261121DAFR012-000", "parking": "", "code_stat_depart": {"code": "RTD"},
    ///      "changements": [{"rubrique": "parking", "ancienne_valeur": "B12"}], "points": ["LFBO"]}
    ///
    /// Lossless: depuisJson(v.versJson()) == v for any bytes from 0x01 to 0xFF. May be shown on a terminal:
    /// control characters are written "\u009b".
    /// @{
    std::string
    versJson(int indentation = -1) const; ///< on one line, or indented by that many spaces a level
    /// Takes the names in every spelling, and null as "not set". Throws ErreurVol: not JSON, an unknown or
    /// repeated name, a value that is no text, a character that ISO-8859-1 does not have, a list too long,
    /// arrays and objects nested deeper than PROFONDEUR_JSON.
    static Vol depuisJson(std::string_view json);
    static constexpr int PROFONDEUR_JSON = 64;
    /// @}

    /// The record itself, for a call of OXcdvCliItf or a dump; it stays the value's.
    const OXvol_completData& brut() const;
    OXvol_completData& brut(); ///< for writing; made when there is none

  private:
    std::unique_ptr<OXvol_completData> _vol; ///< null stands for an empty record until one is needed
};

/// Writes a field of a bare record, by name in any spelling; the text is copied, as the record's own writers
/// want it. Throws ErreurVol, as Vol::ecrire() does.
ORIX_API void poser(OXvol_completData& vol, std::string_view nom, std::string_view valeur);

/// UTF-8 for a text in ISO-8859-1. Every byte has its character.
ORIX_API std::string versUtf8(std::string_view latin1);
/// ISO-8859-1 for a text in UTF-8. Throws ErreurVol for what is not UTF-8, and for characters beyond U+00FF.
ORIX_API std::string depuisUtf8(std::string_view utf8);

} // namespace cdv

#endif
