#ifndef LECTEUR_H
#define LECTEUR_H

#include "CdvVol.h"

#include "Ecrivain.h"

#include <cstddef>
#include <deque>
#include <istream>
#include <memory>
#include <optional>
#include <string>

namespace outils {

/// What an input gives for one record: the record, or why there is none.
struct Entree
{
    std::size_t ligne = 0; ///< number of its first line, from 1
    std::string texte;     ///< as it was read, with its line ends: can be read again
    std::optional<cdv::Vol> vol;
    std::string erreur; ///< empty when there is a record
};

/// Lines of a stream, counted, which can be given back.
class Lignes
{
  public:
    explicit Lignes(std::istream& flux) : _flux(flux) {}

    /// The next line with its end ("\n", none at the end of the file); false after the last one.
    bool suivante(std::string& ligne);
    void rendre(std::string ligne);                ///< suivante() gives it again
    std::size_t numero() const { return _numero; } ///< of the last line given, from 1; 0 before

  private:
    std::istream& _flux;
    std::deque<std::string> _rendues;
    std::size_t _numero = 0;
};

/// Reads records from a text in UTF-8, one after another. A line that makes no record is given as an Entree
/// with its error, and reading goes on after it.
class Lecteur
{
  public:
    virtual ~Lecteur() = default;
    virtual std::optional<Entree> suivante() = 0;
    /// What a file must begin with so that the texts of the entries can be read from it.
    virtual std::string entete() const { return {}; }
};

/// Format::csv or Format::json; nothing: whichever the text begins like. Throws Arret when the beginning
/// makes no sense. The stream outlives the reader.
std::unique_ptr<Lecteur> creerLecteur(std::optional<Format> format, std::istream& flux);

} // namespace outils

#endif
