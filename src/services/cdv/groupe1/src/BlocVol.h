#ifndef BLOCVOL_H
#define BLOCVOL_H

#include "OXvol_completData.h"

#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/interne/Bloc.h"

#define OXVOL_UN(nom) +1
#define OXVOL_AUCUN(nom)
/// How many text fields a record has, and how many status codes.
constexpr int NOMBRE_TEXTES = OXVOL_COMPLET_CHAMPS(OXVOL_UN, OXVOL_AUCUN);
constexpr int NOMBRE_CODES = OXVOL_COMPLET_CHAMPS(OXVOL_AUCUN, OXVOL_UN);
#undef OXVOL_UN
#undef OXVOL_AUCUN

/// The block of a flight record to be: what the record takes of each field and entry, in whatever order,
/// twice the same. The first argument is the member that it is for, the second what it is made of; null:
/// nothing.
class BlocVol : public orix::Bloc<NOMBRE_TEXTES + OXvol_completData::MAX_POINT>
{
  public:
    void prevoir(const char*, const char* texte) noexcept { ajouter(texte); }
    template <class Objet, class Source>
    void prevoir(const Objet*, const Source* source) noexcept
    {
        if (source != nullptr)
            reserver<Objet>();
    }

    void prendre(char*& membre, const char*) noexcept { membre = texte(); }
    template <class Objet, class Source>
    void prendre(Objet*& membre, const Source* source)
    {
        if (source != nullptr)
            membre = objet<Objet>(*source);
    }
};

#endif
