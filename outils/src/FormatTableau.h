#ifndef FORMATTABLEAU_H
#define FORMATTABLEAU_H

#include "Ecrivain.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace outils {

/// One flight a line: the fields given, else callsign, from, to, planned and actual time, stand, status,
/// identifier.
///
/// The first records decide the widths; later texts that are longer are cut. What does not fit in the
/// terminal goes in this order: identifier, date, status label; the rest is cut from the widest column on.
class EcrivainTableau : public Ecrivain
{
  public:
    EcrivainTableau(std::ostream& flux, std::optional<std::size_t> colonnes,
                    const std::vector<cdv::Champ>& champs = {});
    struct Colonne
    {
        std::string_view titre;
        std::function<std::string(const cdv::Vol&)> valeur;
        int renoncement; ///< 0: always shown; else the columns with the lowest number go first
    };
    void ecrire(const cdv::Vol& vol) override;
    void finir() override;

    /// Records that are looked at before the first line is written.
    static constexpr std::size_t ECHANTILLON = 200;

  private:
    using Rangee = std::vector<std::string>;

    void _commencer();
    void _contenir(std::size_t largeur);
    void _ecrireRangee(const Rangee& rangee);

    std::ostream& _flux;
    const std::optional<std::size_t> _largeur;
    std::vector<Colonne> _colonnes;
    std::vector<Rangee> _attente;       ///< until the widths are known
    std::vector<std::size_t> _largeurs; ///< empty until then; 0: a column that is not shown
};

/// One record in full: its set fields, one a line, then its changes and points. Long texts go on under
/// themselves.
void ecrireFiche(std::ostream& flux, const cdv::Vol& vol, std::optional<std::size_t> colonnes);

/// Names and values under one another, the values aligned.
class Paires
{
  public:
    void ajouter(std::string nom, std::string valeur)
    {
        _paires.emplace_back(std::move(nom), std::move(valeur));
    }
    void ecrire(std::ostream& flux, std::optional<std::size_t> colonnes) const;

  private:
    std::vector<std::pair<std::string, std::string>> _paires;
};

} // namespace outils

#endif
