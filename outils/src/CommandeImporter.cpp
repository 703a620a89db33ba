#include "Commandes.h"
#include "Connexion.h"
#include "Expliquer.h"
#include "Progression.h"
#include "Sortie.h"
#include "Terminal.h"

#include "orix/EnvoisGroupes.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

namespace outils {

namespace {

std::optional<Format> formatEntree(const Options& options)
{
    if (options.format && *options.format != Format::csv && *options.format != Format::json)
        throw Arret(USAGE, "importer : --format csv ou json");
    return options.format;
}

/// The file of the rejected entries. With a resumed import it goes on; otherwise it begins anew.
class Rejets
{
  public:
    Rejets(const Options& options, const std::string& entete) : _nom(options.rejets)
    {
        if (_nom.empty())
            return;
        std::error_code erreur;
        if (std::filesystem::equivalent(_nom, options.fichier, erreur))
            throw Arret(USAGE, "--rejets : c'est le fichier à importer");
        const bool suite =
            options.importation.depuis > 1 && std::filesystem::file_size(_nom, erreur) > 0 && !erreur;
        creerReserve(_nom);
        _flux.open(_nom, suite ? std::ios::app | std::ios::binary : std::ios::trunc | std::ios::binary);
        if (!suite)
            _flux << entete;
        verifier();
    }
    void ajouter(const Entree& entree)
    {
        if (_nom.empty())
            return;
        _flux << entree.texte;
        if (entree.texte.back() != '\n')
            _flux << '\n';
        _flux.flush();
    }
    void verifier()
    {
        if (!_nom.empty() && !_flux)
            throw Arret(USAGE, _nom + " : écriture impossible");
    }

  private:
    const std::string _nom;
    std::ofstream _flux;
};

void resumer(const Bilan& bilan, const Importation::Reglages& reglages, double secondes)
{
    const Verbe verbe = reglages.verbe;
    const cdv::Chargement::Bilan& envois = bilan.envois;
    std::string ligne = verbe == Verbe::creer      ? compte(envois.crees, "vol créé")
                        : verbe == Verbe::modifier ? compte(envois.modifies, "vol modifié")
                                                   : compte(envois.supprimes, "vol supprimé");
    if (verbe == Verbe::creer && envois.modifies != 0)
        ligne += ", " + compte(envois.modifies, "modifié");
    if (envois.ignores != 0)
        ligne += ", " + nombre(envois.ignores) + " déjà là";
    if (bilan.rejets() != 0)
        ligne += ", " + compte(bilan.rejets(), "rejeté");
    const auto debit = secondes > 0 ? static_cast<double>(envois.faits() + envois.refuses) / secondes : 0;
    ligne += " en " + texteDuree(secondes) + " (" + nombre(static_cast<std::uint64_t>(debit)) + "/s)";
    std::cerr << message(ligne) << '\n';
    if (envois.pertes != 0)
        std::cerr << message(compte(envois.pertes, "connexion perdue") +
                             " en route : " + compte(envois.refaites, "demande refaite") + ", dont " +
                             compte(envois.constates, "création trouvée faite"))
                  << '\n';
    if (bilan.perte)
        std::cerr << message("cdv : " + bilan.perte->texte) << '\n';
    else if (bilan.interrompu && bilan.reprise != 0)
        std::cerr << "cdv : interrompu\n";
    if (const std::string suite = optionsReprise(bilan, reglages.envois.existants, verbe); !suite.empty())
        std::cerr << "Pour reprendre : " << suite << '\n';
}

} // namespace

int importer(const Options& options, Interruption& interruption)
{
    const std::optional<Format> format = formatEntree(options);
    const FichierEntree fichier(options.fichier);
    const Sonnette fin; // of the reading
    const Interruption::Garde gardeLecture(interruption, [&fin] { fin.sonner(); });
    TamponFd tampon(fichier.descripteur(), fin.descripteur());
    std::istream flux(&tampon);
    flux.exceptions(std::ios::badbit);
    std::unique_ptr<Lecteur> lecteur;
    try {
        lecteur = creerLecteur(format, flux);
    } catch (const LectureInterrompue&) {
        throw Arret(INTERROMPU, "interrompu");
    }
    Rejets rejets(options, lecteur->entete());
    const double taille = static_cast<double>(fichier.taille());

    Connexion connexion(options, interruption, /*reprise*/ true);
    Bilan bilan;
    double secondes = 0;
    {
        Progression progression(std::cerr,
                                estTerminal(STDERR_FILENO) ? largeurTerminal(STDERR_FILENO) : std::nullopt);
        Importation importation(options.importation, connexion.session());
        importation.surRejet = [&](const Entree& entree, const std::string& motif) {
            progression.dire(message("ligne " + std::to_string(entree.ligne) + " : " + motif));
            rejets.ajouter(entree);
        };
        importation.surArret = [&fin] { fin.sonner(); };
        importation.surAvancement = [&](const Bilan& courant) {
            progression.avancer(courant.envois.faits() + courant.envois.refuses,
                                taille > 0 ? std::optional(static_cast<double>(tampon.octetsLus()) / taille)
                                           : std::nullopt);
        };
        const Interruption::Garde garde(interruption, [&importation] { importation.interrompre(); });
        const orix::EnvoisGroupes groupe;
        bilan = importation.executer(*lecteur);
        secondes = progression.secondes();
    }
    resumer(bilan, options.importation, secondes);
    rejets.verifier();
    if (bilan.perte)
        return bilan.perte->statut;
    if (bilan.interrompu && bilan.reprise != 0)
        return INTERROMPU;
    return bilan.rejets() != 0 ? REFUS : FAIT;
}

} // namespace outils
