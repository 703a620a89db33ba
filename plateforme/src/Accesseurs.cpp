#include "orix/interne/ChampsEnregistrement.h"

#define TRACER(niveau, fonction, texte) ORIX_TRACE_LIGNE(orix::niveau, classe, fonction, ligne, texte)

namespace orix::champ {

namespace {

template <class T>
void lecture(const T* champ, OXstatut& statut, const char* classe, const char* nomCourt, const char* fonction,
             int ligne)
{
    if (champ == nullptr) {
        TRACER(NTO_NOTABLE, nomCourt, "Sortie invalide, le champ est un pointeur nul.");
        statut = OXS_CHAMP_NON_INITIALISE;
        return;
    }
    statut = OXS_OK;
    TRACER(NTO_DETAIL, fonction, "Valeur = " << valeurTracee(champ));
}

} // namespace

void tracerLecture(const char* texte, OXstatut& statut, const char* classe, const char* nomCourt,
                   const char* fonction, int ligne)
{
    lecture(texte, statut, classe, nomCourt, fonction, ligne);
}

void tracerLecture(const void* objet, OXstatut& statut, const char* classe, const char* nomCourt,
                   const char* fonction, int ligne)
{
    lecture(objet, statut, classe, nomCourt, fonction, ligne);
}

void tracerSansStatut(const char* classe, const char* fonction, int ligne, const char* texte)
{
    TRACER(NTO_DETAIL, fonction, texte);
}

} // namespace orix::champ
