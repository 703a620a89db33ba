#include "Commandes.h"

#include "Connexion.h"
#include "Dictionnaire.h"
#include "Expliquer.h"
#include "FormatTableau.h"
#include "Sortie.h"
#include "Terminal.h"

#include "OXcdvCliItf.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>

namespace outils {

namespace {

std::string lireTout(const std::string& nom)
{
    const FichierEntree fichier(nom);
    TamponFd tampon(fichier.descripteur());
    std::istream flux(&tampon);
    flux.exceptions(std::ios::badbit);
    return {std::istreambuf_iterator<char>(flux), {}};
}

/// The record is shown as the server gave it, else by a sentence.
void montrer(const Options& options, const cdv::Resultat& resultat, const cdv::Vol& demande, const char* fait)
{
    FluxFd flux(STDOUT_FILENO);
    if (options.format.value_or(Format::tableau) == Format::tableau) {
        flux << "Vol " << affichable(demande.lire(cdv::Champ::gidentifiant).value_or("")) << ' ' << fait
             << ".\n";
    } else {
        const auto ecrivain = creerEcrivain(*options.format, flux, presenter(options, STDOUT_FILENO));
        ecrivain->ecrire(resultat.vol ? *resultat.vol : demande);
        ecrivain->finir();
    }
    flux.flush();
}

/// creer, modifier, supprimer, consulter: one request, one answer.
int demander(const Options& options, Interruption& interruption)
{
    using Futur = std::future<cdv::Resultat>;
    struct Demande
    {
        Futur (cdv::Session::*requete)(const cdv::Vol&, cdv::Session::Delai);
        const char* fait; ///< null: the record itself is the answer
    };
    static const std::map<std::string, Demande> DEMANDES{
        {"creer", {&cdv::Session::creer, "créé"}},
        {"modifier", {&cdv::Session::modifier, "modifié"}},
        {"supprimer", {&cdv::Session::supprimer, "supprimé"}},
        {"consulter", {&cdv::Session::consulter, nullptr}}};
    const Demande& demande = DEMANDES.at(options.commande);
    const cdv::Vol vol = composerVol(options, options.json.empty() ? "" : lireTout(options.json));
    const std::string identifiant = affichable(vol.lire(cdv::Champ::gidentifiant).value_or(""));
    if (identifiant.empty())
        throw Arret(USAGE, "il faut l'identifiant du vol");
    if (options.commande == "modifier" && vol.copier().effacer(cdv::Champ::gidentifiant).estVide())
        throw Arret(USAGE, "modifier " + identifiant + " : il faut au moins un champ, CHAMP=VALEUR");

    Connexion connexion(options, interruption);
    const cdv::Resultat resultat = connexion.attendre((connexion.session().*demande.requete)(vol, {}));
    if (!resultat)
        throw Arret(Issue(resultat).statut, "vol " + identifiant + " : " + expliquer(resultat));
    if (demande.fait == nullptr && options.format.value_or(Format::tableau) == Format::tableau) {
        FluxFd flux(STDOUT_FILENO);
        ecrireFiche(flux, resultat.vol ? *resultat.vol : vol, largeurTerminal(STDOUT_FILENO));
        flux.flush();
    } else {
        montrer(options, resultat, vol, demande.fait);
    }
    return FAIT;
}

std::string texte(const orix::OXversion& version)
{
    std::ostringstream flux;
    flux << version;
    return flux.str();
}

int versions(const Options& options, Interruption&)
{
    const Format format = formatSimple(options);
    // The client of the service lives in an initialised process, even for what needs no server.
    const orix::Configuration configuration = configurer(options);
    std::vector<std::string> connues;
    avecErreursClaires([&] {
        const cdv::Processus processus(configuration);
        for (const orix::OXversion& version : OXcdvCliItf::lireVersionsConnues())
            connues.push_back(texte(version));
    });
    FluxFd flux(STDOUT_FILENO);
    if (format == Format::json) {
        flux << nlohmann::ordered_json{{"cdv", CDV_VERSION}, {"interface", connues}}.dump() << '\n';
    } else {
        Paires paires;
        paires.ajouter("cdv", CDV_VERSION);
        for (const std::string& version : connues)
            paires.ajouter("interface", version);
        paires.ecrire(flux, largeurTerminal(STDOUT_FILENO));
    }
    flux.flush();
    return FAIT;
}

int listerChamps(const Options& options)
{
    const Format format = formatSimple(options);
    const std::size_t colonnes = largeurTerminal(STDOUT_FILENO).value_or(std::string::npos);
    std::size_t marge = 0;
    for (const std::string_view nom : cdv::Vol::champs())
        marge = std::max(marge, largeur(nom) + 2);
    FluxFd flux(STDOUT_FILENO);
    for (const DescriptionChamp& champ : dictionnaire()) {
        const std::string nom(cdv::Vol::nom(champ.champ));
        if (format == Format::json)
            flux << nlohmann::ordered_json{{"nom", nom},
                                           {"contenu", champ.contenu[FRANCAIS]},
                                           {"forme", champ.forme[FRANCAIS]},
                                           {"longueur", champ.longueur},
                                           {"exemple", champ.exemple}}
                        .dump()
                 << '\n';
        else
            flux << replier(ajuster(nom, marge) + resumer(champ), colonnes, marge) << '\n';
    }
    flux.flush();
    return FAIT;
}

} // namespace

Presentation presenter(const Options& options, int descripteur)
{
    Presentation presentation;
    presentation.lisible = estTerminal(descripteur);
    presentation.tableur = options.tableur;
    return presentation;
}

Format formatSimple(const Options& options)
{
    const Format format = options.format.value_or(Format::tableau);
    if (format != Format::tableau && format != Format::json)
        throw Arret(USAGE, (options.champs ? "--champs" : options.commande) + " : --format tableau ou json");
    return format;
}

int executer(const Options& options, Interruption& interruption)
{
    static const std::map<std::string, int (*)(const Options&, Interruption&)> COMMANDES{
        {"creer", demander},  {"modifier", demander}, {"supprimer", demander}, {"consulter", demander},
        {"lister", exporter}, {"exporter", exporter}, {"importer", importer},  {"surveiller", surveiller},
        {"etat", etat},       {"versions", versions}};
    return options.champs ? listerChamps(options) : COMMANDES.at(options.commande)(options, interruption);
}

} // namespace outils
