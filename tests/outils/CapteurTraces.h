#ifndef CAPTEURTRACES_H
#define CAPTEURTRACES_H

#include "orix/Trace.h"

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace essais {

/// Keeps every trace line written while it lives, up to the given level.
class CapteurTraces
{
  public:
    explicit CapteurTraces(int seuil = orix::NTO_DETAIL) : _seuilAvant(orix::Trace::lireSeuil())
    {
        orix::Trace::definirSeuil(seuil);
        orix::trace()->definirRecepteur([this](const orix::LigneTrace& ligne) {
            const std::lock_guard<std::mutex> verrou(_mutex);
            _lignes.push_back(ligne);
        });
    }
    ~CapteurTraces()
    {
        orix::trace()->definirRecepteur({});
        orix::Trace::definirSeuil(_seuilAvant);
    }
    CapteurTraces(const CapteurTraces&) = delete;
    CapteurTraces& operator=(const CapteurTraces&) = delete;

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
    /// How many of the lines so far have that message.
    int compter(const std::string& message)
    {
        const std::lock_guard<std::mutex> verrou(_mutex);
        int n = 0;
        for (const orix::LigneTrace& ligne : _lignes)
            n += ligne.message == message;
        return n;
    }

  private:
    std::mutex _mutex;
    std::vector<orix::LigneTrace> _lignes;
    int _seuilAvant;
};

} // namespace essais

#endif
