#ifndef FORMATCSV_H
#define FORMATCSV_H

#include "Ecrivain.h"
#include "Lecteur.h"

#include <string>
#include <vector>

namespace outils {

/// CSV of flight records: RFC 4180 in UTF-8, a header, one column for each text of the record, then "points"
/// and "changements" as JSON text. An empty cell is a field that is not set; "" is the empty string.
class EcrivainCsv : public Ecrivain
{
  public:
    EcrivainCsv(std::ostream& flux, const Presentation& presentation);
    void ecrire(const cdv::Vol& vol) override;

  private:
    std::string _cellule(std::string_view latin1) const;

    std::ostream& _flux;
    const Presentation _presentation;
    std::vector<int> _colonnes; ///< a cdv::Champ, or one of the lists
    std::string _ligne;         // kept for its memory
};

/// Reads what EcrivainCsv writes, and less: any columns in any order, under any spelling of their names.
/// Cells are separated as those of the header are, by commas, semicolons or tabulations. A cell may span
/// lines. After a cell whose quotes make no sense, reading goes on at the line after the record's first: a
/// stray quote spoils one line, not the file.
class LecteurCsv : public Lecteur
{
  public:
    explicit LecteurCsv(Lignes lignes); ///< reads the header; throws Arret when it is none
    std::optional<Entree> suivante() override;
    std::string entete() const override { return _entete; }

  private:
    struct Cellule
    {
        std::string texte;
        bool guillemets = false;
    };
    enum class Lecture
    {
        fin,
        faite,
        fausse
    };
    enum class Decoupage
    {
        complet,
        coupe, ///< inside of quotes: the record goes on with the next line
        faux
    };
    Lecture _lire(Entree& entree, std::vector<Cellule>& cellules);
    Decoupage _decouper(const std::string& ligne, std::vector<Cellule>& cellules, bool suite) const;
    cdv::Vol _construire(const std::vector<Cellule>& cellules) const;

    Lignes _lignes;
    std::string _entete;
    char _separateur = ',';
    std::vector<int> _colonnes; ///< a cdv::Champ, or one of the lists
    std::vector<Cellule> _cellules;
};

/// A cell that holds this text, in quotes where it has to be.
std::string celluleCsv(std::string_view utf8);

} // namespace outils

#endif
