#ifndef CAPTEURTRACES_H
#define CAPTEURTRACES_H

#include "Essais.h"
#include "orix/Trace.h"

namespace essais {

/// The bare name of the function that traced.
inline std::string nomFonction(const orix::LigneTrace& ligne)
{
    const std::string signature = ligne.fonction.substr(0, ligne.fonction.find('('));
    return signature.substr(signature.find_last_of(": ") + 1);
}

/// Gives the lines up to that level to a function in place of the log while it lives. What the function
/// throws reaches the code that traced.
class EcouteTraces : orix::INonCopiable
{
  public:
    explicit EcouteTraces(orix::Trace::Recepteur recepteur, int seuil = orix::NTO_DETAIL)
        : _seuilAvant(orix::Trace::lireSeuil())
    {
        orix::Trace::definirSeuil(seuil);
        orix::trace()->definirRecepteur(std::move(recepteur));
    }
    ~EcouteTraces()
    {
        orix::trace()->definirRecepteur({});
        orix::Trace::definirSeuil(_seuilAvant);
    }

  private:
    const int _seuilAvant;
};

/// Does something at each line that begins with the text, on the thread that traces and before it goes on: a
/// fault strikes between two steps of a function.
class SurTrace : public EcouteTraces
{
  public:
    SurTrace(std::string debut, std::function<void()> action, int seuil = orix::NTO_NOTABLE)
        : EcouteTraces(
              [debut = std::move(debut), action = std::move(action)](const orix::LigneTrace& ligne) {
                  if (ligne.message.compare(0, debut.size(), debut) == 0)
                      action();
              },
              seuil)
    {}
};

/// Keeps every trace line written while it lives, up to the given level.
class CapteurTraces
{
  public:
    explicit CapteurTraces(int seuil = orix::NTO_DETAIL)
        : _ecoute(
              [this](const orix::LigneTrace& ligne) {
                  const std::lock_guard<std::mutex> verrou(_mutex);
                  _lignes.push_back(ligne);
              },
              seuil)
    {}

    /// The lines so far, and forgets them.
    std::vector<orix::LigneTrace> prendre()
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        return std::exchange(_lignes, {});
    }
    /// "700 message" for each line so far, and forgets them.
    std::vector<std::string> prendreTextes()
    {
        std::vector<std::string> textes;
        for (const orix::LigneTrace& ligne : prendre())
            textes.push_back(std::to_string(ligne.niveau) + " " + ligne.message);
        return textes;
    }
    /// "700 function: message" for each line of that source so far, and forgets them all.
    std::vector<std::string> prendreLignes(const std::string& fichier)
    {
        std::vector<std::string> textes;
        for (const orix::LigneTrace& ligne : prendre())
            if (ligne.fichier == fichier)
                textes.push_back(std::to_string(ligne.niveau) + " " + ligne.fonction + ": " + ligne.message);
        return textes;
    }

  private:
    std::mutex _mutex;
    std::vector<orix::LigneTrace> _lignes;
    EcouteTraces _ecoute;
};

} // namespace essais

#endif
