#ifndef ECRIVAIN_H
#define ECRIVAIN_H

#include "CdvVol.h"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>
#include <vector>

namespace outils {

enum class Format
{
    tableau,
    json,
    csv,
    dump
};

/// Writes records on a stream, in one of the formats.
class Ecrivain
{
  public:
    virtual ~Ecrivain() = default;
    virtual void ecrire(const cdv::Vol& vol) = 0;
    virtual void finir() {} ///< to be called once, after the last record
};

/// What the formats leave open.
struct Presentation
{
    std::optional<std::size_t> colonnes =
        std::nullopt;   ///< that a table has to fit in; nothing: what it needs
    bool entete = true; ///< CSV begins with its header
    /// CSV is read by people, not by a program: what could act on a terminal is shown in its place. The other
    /// formats never hold any.
    bool lisible = false;
    /// CSV is for a spreadsheet: what it would take for a formula is marked as a text by "'".
    bool tableur = false;
    /// These fields only; a table and CSV have them in this order. Empty: what the format shows by itself.
    std::vector<cdv::Champ> champs = {};
};

std::unique_ptr<Ecrivain> creerEcrivain(Format format, std::ostream& flux,
                                        const Presentation& presentation = {});

} // namespace outils

#endif
