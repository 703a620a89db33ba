#ifndef AIGUILLAGE_H
#define AIGUILLAGE_H

#include "FileLignes.h"

namespace serveur {

/// Where lines wait for who is to go on with them. Any thread.
class Aiguillage : orix::INonCopiable
{
  public:
    FileLignes<Ligne::EXECUTION> ecritures;
    FileLignes<Ligne::EXECUTION> lectures;
    FileLignes<Ligne::ENVOI> envois;

    void suivre(const std::shared_ptr<Ligne>& ligne, const Ligne::Suites& suites) noexcept
    {
        if (suites.voie == Ligne::Voie::ecriture)
            ecritures.ajouter(ligne);
        else if (suites.voie == Ligne::Voie::lecture)
            lectures.ajouter(ligne);
        if (suites.envoi)
            envois.ajouter(ligne);
    }
};

} // namespace serveur

#endif
