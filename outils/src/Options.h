#ifndef OPTIONS_H
#define OPTIONS_H

#include "Ecrivain.h"
#include "Importation.h"

#include "CdvSession.h"

#include <optional>
#include <string>
#include <vector>

namespace outils {

/// The command line, as it was given.
struct Options
{
    std::string commande; ///< "creer"...; empty: champs is set

    std::string configuration;     ///< a TOML file; empty: none
    std::vector<std::string> urls; ///< of the kernels, at most two; take the place of the configuration's
    std::optional<Format> format;
    std::optional<cdv::Duree> delai;
    std::optional<int> trace;
    bool champs = false; ///< only list the names of the fields

    std::vector<std::string> mots; ///< "champ=valeur", or a bare identifier
    std::vector<std::string> effaces;
    std::vector<std::string> changements;
    std::vector<std::string> points;
    std::string json; ///< file of a record to start from; "-": the standard input; empty: none

    std::string fichier;                ///< importer, exporter; "-": the standard input or output
    Importation::Reglages importation;  ///< importer; depuis: exporter too, patience: lister too
    std::string rejets;                 ///< importer; empty: none
    bool tableur = false;               ///< exporter, lister: formulas are marked as texts
    std::vector<std::string> affiches;  ///< exporter, lister: the fields to show; none: all
    std::optional<std::size_t> limite;  ///< exporter, lister
    bool nombre = false;                ///< lister: only how many
    cdv::Duree periode{1000};           ///< surveiller
    std::optional<std::size_t> mesures; ///< surveiller: ends after so many
    bool statistiques = false;          ///< surveiller: the figures too
    bool tous = false;                  ///< etat: one server that is not active is a failure
};

/// Reads the command line. The exit status when that was all that had to be done (help, and what is wrong was
/// said on the standard error); nothing when the options are to be executed.
std::optional<int> lireOptions(int argc, const char* const* argv, Options& options);

/// The URL of a kernel; "HOST:PORT" stands for the one of that access point. Empty for what is neither.
std::string urlNoyau(const std::string& texte);

/// The record that the words and options describe: what comes from the JSON, then the fields, lists, and what
/// is taken out of it again. json: text of a record, empty for none. Throws Arret.
cdv::Vol composerVol(const Options& options, const std::string& json);

} // namespace outils

#endif
