#ifndef COMPARAISON_H
#define COMPARAISON_H

#include <string>
#include <vector>

// What is compared: systems, measures, objectives.
namespace comparaison {

using Arguments = std::vector<std::string>;

/// A way to send records: its two programs and what they are told.
struct Systeme
{
    std::string nom, titre;
    std::string client, serveur; ///< programs, beside this one
    Arguments arguments;
    bool rappelle;       ///< takes part where the server calls back
    std::string paquets; ///< without which it is not built
};

inline const std::string FACADE = "facade";
inline const std::string FACADE_GROUPEE = "facade_groupee"; ///< messages leave together until it waits
inline const std::string ORB_PRET = "omniorb";

const std::vector<Systeme>& systemes();

/// One thing to measure, of every system or of a few.
struct Mesure
{
    std::string nom, titre;
    Arguments arguments; ///< for clients and servers alike
    double part;         ///< of the number of records asked for
    bool rappel;
    Arguments seulement;  ///< systems; empty: all
    std::string courbe;   ///< of a curve: the option that varies
    int x = 0;            ///< and its value here
    bool charge = false;  ///< as many processes as there are processors run beside it, and never wait
    bool uneFois = false; ///< in the first round only
};

inline const std::string MEMOIRE = "memoire";

/// The comparison proper, then each point of the curves.
std::vector<Mesure> mesures(int occupation, bool courbes);

/// What the library is to reach: the ratio of a figure of ours, the library in one of its ways, to that of
/// another system.
struct Objectif
{
    std::string texte, mesure;
    int x; ///< of a curve
    std::string grandeur, notre, contre;
    bool auPlus;
    double borne;
};

std::vector<Objectif> objectifs();

} // namespace comparaison

#endif
