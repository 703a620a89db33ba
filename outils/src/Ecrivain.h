#ifndef ECRIVAIN_H
#define ECRIVAIN_H

#include "CdvVol.h"

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>

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

/// colonnes: what a table has to fit in; nothing: as much as it needs. entete: CSV begins with its header.
std::unique_ptr<Ecrivain> creerEcrivain(Format format, std::ostream& flux,
                                        std::optional<std::size_t> colonnes, bool entete = true);

} // namespace outils

#endif
