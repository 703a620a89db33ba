#include "Tableaux.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <utility>

namespace comparaison {

namespace {

void ecrireLigne(const Arguments& cellules)
{
    for (const std::string& cellule : cellules)
        std::cout << "| " << cellule << ' ';
    std::cout << "|\n";
}

void ecrireEntete(const std::string& titre, const Arguments& cellules)
{
    std::cout << "\n### " << titre << "\n\n";
    ecrireLigne(cellules);
    ecrireLigne(Arguments(cellules.size(), "---"));
}

void ecrireComparaison(const Resultats& resultats, const Mesure& mesure)
{
    Arguments entete = {"System", "k records/s", "client CPU, us/record", "rate, ours / it",
                        "CPU, ours / it"};
    if (mesure.rappel)
        entete.insert(entete.end(), {"p50, us", "p99, us", "p50, ours / it", "p99, ours / it"});
    ecrireEntete(mesure.titre, entete);
    for (const Systeme& systeme : systemes()) {
        if (resultats.valeurs(mesure, systeme.nom, "debit").empty())
            continue;
        Arguments ligne = {systeme.titre, resultats.texte(mesure, systeme.nom, "debit", 1000, 1),
                           resultats.texte(mesure, systeme.nom, "cpu_us", 1, 2),
                           resultats.texteRapport(mesure, systeme.nom, "debit"),
                           resultats.texteRapport(mesure, systeme.nom, "cpu_us")};
        if (mesure.rappel)
            ligne.insert(ligne.end(), {resultats.texte(mesure, systeme.nom, "p50_us", 1, 0),
                                       resultats.texte(mesure, systeme.nom, "p99_us", 1, 0),
                                       resultats.texteRapport(mesure, systeme.nom, "p50_us"),
                                       resultats.texteRapport(mesure, systeme.nom, "p99_us")});
        ecrireLigne(ligne);
    }
}

void ecrireMemoire(const Resultats& resultats, const Mesure& mesure)
{
    ecrireEntete(mesure.titre, {"Notifications", "after a tenth, MiB", "at the end, MiB", "peak, MiB"});
    ecrireLigne({resultats.texte(mesure, FACADE, "nombre", 1, 0),
                 resultats.texte(mesure, FACADE, "memoire_dixieme_ko", 1024, 1),
                 resultats.texte(mesure, FACADE, "memoire_fin_ko", 1024, 1),
                 resultats.texte(mesure, FACADE, "memoire_max_ko", 1024, 1)});
}

void ecrireCourbe(const Resultats& resultats, const std::vector<const Mesure*>& points)
{
    bool entete = true;
    for (const Mesure* const mesure : points) {
        Arguments titres = {mesure->titre, "libOXcdvCli, k records/s", "client CPU, us"};
        Arguments ligne = {std::to_string(mesure->x), resultats.texte(*mesure, FACADE, "debit", 1000, 1),
                           resultats.texte(*mesure, FACADE, "cpu_us", 1, 2)};
        for (const Systeme& systeme : systemes()) {
            if (systeme.nom == FACADE || resultats.valeurs(*mesure, systeme.nom, "debit").empty())
                continue;
            titres.insert(titres.end(),
                          {systeme.titre + ", k records/s", "rate, ours / it", "CPU, ours / it"});
            ligne.insert(ligne.end(), {resultats.texte(*mesure, systeme.nom, "debit", 1000, 1),
                                       resultats.texteRapport(*mesure, systeme.nom, "debit"),
                                       resultats.texteRapport(*mesure, systeme.nom, "cpu_us")});
        }
        if (std::exchange(entete, false))
            ecrireEntete("Against: " + mesure->titre, titres);
        ecrireLigne(ligne);
    }
}

void ecrireCourbes(const Resultats& resultats, const std::vector<Mesure>& mesures)
{
    std::vector<std::string> courbes; // in the order of their first points
    std::map<std::string, std::vector<const Mesure*>> points;
    for (const Mesure& mesure : mesures)
        if (!mesure.courbe.empty()) {
            if (points.count(mesure.courbe) == 0)
                courbes.push_back(mesure.courbe);
            points[mesure.courbe].push_back(&mesure);
        }
    for (const std::string& courbe : courbes)
        ecrireCourbe(resultats, points[courbe]);
}

void ecrireObjectifs(const Resultats& resultats, const std::vector<Mesure>& mesures)
{
    ecrireEntete("Objectives", {"Ours to theirs", "wanted", "measured", "reached"});
    for (const Objectif& objectif : objectifs()) {
        const auto mesure = std::find_if(mesures.begin(), mesures.end(), [&](const Mesure& une) {
            return une.nom == objectif.mesure && une.x == objectif.x;
        });
        if (mesure == mesures.end())
            continue;
        const auto rapport = resultats.rapport(*mesure, objectif.contre, objectif.grandeur, objectif.notre);
        if (!rapport)
            continue;
        const bool atteint = objectif.auPlus ? *rapport <= objectif.borne : *rapport >= objectif.borne;
        ecrireLigne({objectif.texte, (objectif.auPlus ? "<= " : ">= ") + nombre(objectif.borne, 2),
                     nombre(*rapport, 2), atteint ? "yes" : "no"});
    }
}

} // namespace

void ecrireTableaux(const Resultats& resultats, const std::vector<Mesure>& mesures)
{
    for (const Mesure& mesure : mesures)
        if (mesure.nom == MEMOIRE)
            ecrireMemoire(resultats, mesure);
        else if (mesure.courbe.empty())
            ecrireComparaison(resultats, mesure);
    ecrireObjectifs(resultats, mesures);
    ecrireCourbes(resultats, mesures);
}

} // namespace comparaison
