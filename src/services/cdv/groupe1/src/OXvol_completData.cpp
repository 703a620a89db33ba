#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXcode_statData.h"
#include "orix/interne/ChampsEnregistrement.h"

#undef ORIX_LECTEUR
#define ORIX_LECTEUR ORIX_LECTEUR_EMIS
#include "OXvol_completData.h"

#include <algorithm>
#include <iostream>
#include <new>

#define TRACER(niveau, fonction, texte) ORIX_TRACE(orix::niveau, "OXvol_completData", fonction, texte)
#define DETAIL(texte) TRACER(NTO_DETAIL, __PRETTY_FUNCTION__, texte)

namespace {

using orix::OXstatut;
using orix::champ::ecrireLigne;
using orix::champ::liberer;

// One overload for each kind of field, so that one line stands for all of them.

char* dupliquer(const char* texte) { return OXdupliqueChaine(texte); }

template <class T>
T* dupliquer(const T* objet)
{
    return objet != nullptr ? new T(*objet) : nullptr;
}

void ecrireLigne(std::ostream& flux, const char* nom, const OXcode_statData* code)
{
    flux << "\t\t " << nom << " v3.0.0 : ";
    if (code != nullptr)
        flux << std::endl << *code << std::endl;
    else
        flux << "NULL" << std::endl;
}

// What the two lists do alike. They trace as their caller, whose signature is fonction.

/// Moves the entries of the array into the empty list and releases the array; returns how many there are.
template <class T, int N>
int adopter(T* (&liste)[N], T** tableau, int nombre) noexcept
{
    if (tableau == nullptr)
        return 0;
    nombre = std::clamp(nombre, 0, N);
    std::copy_n(tableau, nombre, liste);
    delete[] tableau;
    return nombre;
}

/// Says what was wrong with an array given to the constructor.
void signalerTaille(bool nul, int nombre, int limite, const char* condition, const char* liste,
                    const char* fonction)
{
    if (!nul && nombre > limite)
        TRACER(NTO_NOTABLE, "OXvol_completData",
               "Taille supérieure a la limite max pour le tableau " << liste << ".");
    if (nul && nombre != 0) {
        TRACER(NTO_NOTABLE, fonction, "Non Validé (" << condition << ")");
        TRACER(NTO_NOTABLE, "OXvol_completData", "Taille non nulle pour le tableau nul " << liste << ".");
    }
}

template <class T, class Compteur>
T* lire(T* const* liste, int nombre, int index, OXstatut& statut, const char* fonction, Compteur compteur)
{
    TRACER(NTO_DETAIL, fonction, "Index = " << index);
    if (index < 0 || index >= nombre) {
        TRACER(NTO_NOTABLE, fonction,
               "Données non positionnées a l'index:" << index << " index maximum: " << compteur());
        statut = orix::OXS_TABLEAU_INDEX_INVALIDE;
        return nullptr;
    }
    statut = orix::OXS_OK;
    TRACER(NTO_DETAIL, fonction, "Resultat = " << orix::champ::valeurTracee(liste[index]));
    return liste[index];
}

/// garder gives what the list keeps of elem, and null when memory lacks.
template <class T, int N, class Garde>
int ajouter(T* (&liste)[N], int& nombre, T* elem, OXstatut& statut, const char* fonction,
            const char* nomCourt, Garde garder)
{
    TRACER(NTO_DETAIL, fonction, "elem = " << static_cast<const void*>(elem));
    if (elem == nullptr) {
        TRACER(NTO_NOTABLE, nomCourt, "Tentative d'ajout d'un pointeur nul.");
        statut = orix::OXS_PARAMETRE_INVALIDE;
        return -1;
    }
    if (nombre >= N) {
        TRACER(NTO_NOTABLE, fonction, "Sortie sur tableau saturé. Index:" << nombre << " taille:" << N);
        statut = orix::OXS_TABLEAU_DEBORDEMENT;
        return -1;
    }
    T* const garde = garder(elem);
    if (garde == nullptr) {
        statut = orix::OXS_ALLOCATION_MEMOIRE_IMPOSSIBLE;
        return -1;
    }
    liste[nombre++] = garde;
    statut = orix::OXS_OK;
    TRACER(NTO_DETAIL, fonction, "Nouvelle taille = " << nombre);
    return nombre;
}

std::vector<orix::OXversion> tracerVersions(std::vector<orix::OXversion> versions, const char* fonction)
{
    if (versions.size() == 2)
        TRACER(NTO_DETAIL, fonction, "Version(s) " << versions[0] << " et " << versions[1]);
    else
        TRACER(NTO_DETAIL, fonction, "Version(s) " << versions[0]);
    return versions;
}

} // namespace

const OXvol_completData::T_v3_0_0 OXvol_completData::v3_0_0{};

#define NUL(nom) nullptr,
OXvol_completData::OXvol_completData()
    : OXvol_completData(OXVOL_COMPLET_CHAMPS(NUL, NUL) 0, nullptr, 0, nullptr)
{}
#undef NUL

#define TEXTE(nom) char *nom,
#define CODE_STAT(nom) OXcode_statData *nom,
OXvol_completData::OXvol_completData(OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT) int nrub_chgt,
                                     OXcci_rub_chgtData** trub_chgt, int npoint, char** tpoint)
    : OXvol_completData(Vide{})
#undef TEXTE
#undef CODE_STAT
{
    // Everything is taken before anything can throw: all of it is the record's whatever happens next.
#define CHAMP(nom) m_##nom = nom;
    OXVOL_COMPLET_CHAMPS(CHAMP, CHAMP)
#undef CHAMP
    const bool rubChgtNul = trub_chgt == nullptr;
    const bool pointNul = tpoint == nullptr;
    m_nrub_chgt = adopter(m_trub_chgt, trub_chgt, nrub_chgt);
    m_npoint = adopter(m_tpoint, tpoint, npoint);

    DETAIL("Entrée Constructeur par defaut (v3.0.0).");
    signalerTaille(rubChgtNul, nrub_chgt, MAX_RUB_CHGT, "nrub_chgt == 0", "m_trub_chgt", __PRETTY_FUNCTION__);
    signalerTaille(pointNul, npoint, MAX_POINT, "npoint == 0", "m_tpoint", __PRETTY_FUNCTION__);
    DETAIL("Sortie Constructeur par defaut (v3.0.0).");
}

OXvol_completData::OXvol_completData(const OXvol_completData& source) : OXvol_completData(Vide{})
{
    DETAIL("Entrée.");
    _versionValide = source._versionValide;
#define CHAMP(nom) m_##nom = dupliquer(source.m_##nom);
    OXVOL_COMPLET_CHAMPS(CHAMP, CHAMP)
#undef CHAMP
    for (; m_nrub_chgt < source.m_nrub_chgt; ++m_nrub_chgt)
        m_trub_chgt[m_nrub_chgt] = dupliquer(source.lire_rub_chgt(m_nrub_chgt));
    for (; m_npoint < source.m_npoint; ++m_npoint)
        m_tpoint[m_npoint] = dupliquer(source.lire_point(m_npoint));
    DETAIL("Sortie.");
}

OXvol_completData::~OXvol_completData()
{
    ORIX_TRACE_SANS_ECHEC(orix::NTO_DETAIL, "OXvol_completData", __PRETTY_FUNCTION__, "Entree.");
#define CHAMP(nom) liberer(m_##nom);
    OXVOL_COMPLET_CHAMPS(CHAMP, CHAMP)
#undef CHAMP
    std::for_each_n(m_trub_chgt, m_nrub_chgt, [](OXcci_rub_chgtData* entree) { liberer(entree); });
    std::for_each_n(m_tpoint, m_npoint, [](char* point) { liberer(point); });
    ORIX_TRACE_SANS_ECHEC(orix::NTO_DETAIL, "OXvol_completData", __PRETTY_FUNCTION__, "Sortie.");
}

#define TEXTE(nom) ORIX_DEFINIR_ECRITURES(OXvol_completData, char, nom)
#define CODE_STAT(nom) ORIX_DEFINIR_ECRITURES(OXvol_completData, OXcode_statData, nom)
OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT

void OXvol_completData::tracerNombre(int nombre, const char* fonction)
{
    TRACER(NTO_DETAIL, fonction, "Entrée.");
    TRACER(NTO_DETAIL, fonction, "Taille = " << nombre);
    TRACER(NTO_DETAIL, fonction, "Sortie.");
}

const OXcci_rub_chgtData* OXvol_completData::lireRare_rub_chgt(int index, OXstatut& statut,
                                                               const char* fonction) const
{
    return lire(m_trub_chgt, m_nrub_chgt, index, statut, fonction, [this] { return nombre_rub_chgt(); });
}

const char* OXvol_completData::lireRare_point(int index, OXstatut& statut, const char* fonction) const
{
    return lire(m_tpoint, m_npoint, index, statut, fonction, [this] { return nombre_point(); });
}

int OXvol_completData::ajouter_rub_chgt(OXcci_rub_chgtData* elem, OXstatut& statut)
{
    return ajouter(m_trub_chgt, m_nrub_chgt, elem, statut, __PRETTY_FUNCTION__, "ajouter_rub_chgt",
                   [](OXcci_rub_chgtData* adopte) { return adopte; });
}

int OXvol_completData::ajouter_rub_chgt(OXcci_rub_chgtData* elem)
{
    OXstatut statut = orix::OXS_NOK;
    DETAIL("Entrée/Sortie, version sans statut");
    return ajouter_rub_chgt(elem, statut);
}

int OXvol_completData::ajouter_point(char* elem, OXstatut& statut)
{
    return ajouter(m_tpoint, m_npoint, elem, statut, __PRETTY_FUNCTION__, "ajouter_point",
                   [](const char* texte) {
                       try {
                           return OXdupliqueChaine(texte);
                       } catch (const std::bad_alloc&) {
                           return static_cast<char*>(nullptr);
                       }
                   });
}

int OXvol_completData::ajouter_point(char* elem)
{
    OXstatut statut = orix::OXS_NOK;
    DETAIL("Entrée/Sortie, version sans statut");
    return ajouter_point(elem, statut);
}

void OXvol_completData::definirVersionValide_v3_0_0()
{
    DETAIL("Entrée.");
    _versionValide = _version1;
#define TEXTE(nom)
#define CODE_STAT(nom)                                                                                       \
    if (m_##nom != nullptr)                                                                                  \
        m_##nom->definirVersionValide_v3_0_0();
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
    for (int i = 0; i < m_nrub_chgt; ++i) {
        if (m_trub_chgt[i] != nullptr)
            m_trub_chgt[i]->definirVersionValide_v3_0_0();
    }
    DETAIL("Sortie.");
}

std::vector<orix::OXversion> OXvol_completData::lireVersion() const
{
    DETAIL("Entrée.");
    std::vector<orix::OXversion> versions{_versionValide};
    if (_versionValide == orix::VERSION_NULLE)
        versions = {_version1, _version2};
    versions = tracerVersions(std::move(versions), __PRETTY_FUNCTION__);
    DETAIL("Sortie.");
    return versions;
}

std::vector<orix::OXversion> OXvol_completData::lireVersionsConnues() const
{
    DETAIL("Entrée.");
    std::vector<orix::OXversion> versions = tracerVersions({_version1}, __PRETTY_FUNCTION__);
    DETAIL("Sortie.");
    return versions;
}

const char* OXvol_completData::lireNomService() const
{
    DETAIL("Entrée/Retour cdv");
    return "cdv";
}

void OXvol_completData::trace() const
{
    std::cout << " === ORIX DATA === OXvol_completData::trace" << std::endl << *this;
}

std::ostream& operator<<(std::ostream& flux, const OXvol_completData& vol)
{
    flux << " --- Debut OXvol_completData";
    if (vol.lireVersion().size() == 2)
        flux << " Version : generique" << vol.lireVersion()[0] << " et " << vol.lireVersion()[1] << std::endl;
    else
        flux << " Version : " << vol.lireVersion()[0] << std::endl;

#define CHAMP(nom) ecrireLigne(flux, "m_" #nom, vol.m_##nom);
    OXVOL_COMPLET_CHAMPS(CHAMP, CHAMP)
#undef CHAMP

    flux << "\t\t Tableau m_trub_chgt v3.0.0 Nb d'elements " << vol.m_nrub_chgt << std::endl;
    for (int i = 0; i < vol.m_nrub_chgt; ++i) {
        flux << "\t\t m_trub_chgt[" << i << "] = " << std::endl;
        if (vol.m_trub_chgt[i] != nullptr)
            flux << *vol.m_trub_chgt[i];
        flux << std::endl;
    }
    flux << "\t\t Tableau m_tpoint v3.0.0 Nb d'elements " << vol.m_npoint << std::endl;
    for (int i = 0; i < vol.m_npoint; ++i)
        flux << "\t\t m_tpoint[" << i << "] = " << orix::champ::valeurTracee(vol.m_tpoint[i]) << std::endl;
    return flux << " --- Fin OXvol_completData" << std::endl;
}
