#include "OXvol_completData.h"

#include "BlocVol.h"

#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"
#include "orix/Trace.h"

#include <algorithm>
#include <iostream>
#include <new>
#include <string>
#include <utility>

// A trace never stops what it tells of: an accessor throws nothing, and a writer has taken the value.
#define TRACER(niveau, fonction, texte)                                                                      \
    ORIX_TRACE_SANS_ECHEC(orix::niveau, "OXvol_completData", fonction, texte)
#define DETAIL(fonction, texte) TRACER(NTO_DETAIL, fonction, texte)

// The signatures are part of the traces: written here, for compilers spell them each in its own way.
#define METHODE(resultat, operation) resultat " OXvol_completData::" operation
#define CONSTRUCTEUR(arguments) "OXvol_completData::OXvol_completData(" arguments ")"

namespace {

using orix::OXstatut;

// One overload for each kind of field.

/// A field as the traces show it: a text itself, an object's address.
const char* valeurTracee(const char* texte) noexcept { return texte != nullptr ? texte : ""; }
const void* valeurTracee(const void* objet) noexcept { return objet; }

void declarerValide(char*) noexcept {}
template <class T>
void declarerValide(T* objet)
{
    if (objet != nullptr)
        objet->definirVersionValide_v3_0_0();
}

void ecrireValeur(std::ostream& flux, const char* texte) { flux << '<' << texte << '>'; }
void ecrireValeur(std::ostream& flux, const OXcode_statData* code) { flux << std::endl << *code; }

// ---- Accessors. They trace as the one that calls them, whose signature or name they are given.

template <class T>
const T* lire(const T* champ, OXstatut& statut, const char* nom, const char* signature)
{
    if (champ == nullptr) {
        TRACER(NTO_NOTABLE, nom, "Sortie invalide, le champ est un pointeur nul.");
        statut = orix::OXS_CHAMP_NON_INITIALISE;
        return nullptr;
    }
    statut = orix::OXS_OK;
    DETAIL(signature, "Valeur = " << valeurTracee(champ));
    return champ;
}

template <class T, class Relacher>
void ecrire(T*& champ, T* valeur, OXstatut& statut, const char* signature, Relacher relacher)
{
    TRACER(NTO_PROGRES, signature, "Entrée.");
    TRACER(NTO_PROGRES, signature, "Valeur = " << valeurTracee(valeur));
    if (champ != valeur) // its own value, given back to it, must survive
        relacher(champ);
    champ = valeur;
    statut = orix::OXS_OK;
    TRACER(NTO_PROGRES, signature, "Sortie.");
}

/// What each form without status begins with; gives the status that it drops. Inlined: it is half of a
/// reading.
[[gnu::always_inline]] inline OXstatut sansStatut(const char* signature, const char* fin = "")
{
    DETAIL(signature, "Entrée/Sortie, version sans statut" << fin);
    return orix::OXS_NOK;
}

// ---- Lists

int compter(int nombre, OXstatut& statut, const char* signature)
{
    DETAIL(signature, "Entrée.");
    statut = orix::OXS_OK;
    DETAIL(signature, "Taille = " << nombre);
    DETAIL(signature, "Sortie.");
    return nombre;
}

/// compteur: counts as the list's own operation, for it traces.
template <class T, class Compteur>
const T* lireEntree(T* const* liste, int nombre, int index, OXstatut& statut, const char* signature,
                    Compteur compteur)
{
    DETAIL(signature, "Index = " << index);
    if (index < 0 || index >= nombre) {
        const int maximum = compteur();
        TRACER(NTO_NOTABLE, signature,
               "Données non positionnées a l'index:" << index << " index maximum: " << maximum);
        statut = orix::OXS_TABLEAU_INDEX_INVALIDE;
        return nullptr;
    }
    statut = orix::OXS_OK;
    DETAIL(signature, "Resultat = " << valeurTracee(liste[index]));
    return liste[index];
}

/// What a list keeps of an element: a changed field itself, a copy of a point; null when memory lacks.
OXcci_rub_chgtData* garder(OXcci_rub_chgtData* elem) noexcept { return elem; }
char* garder(const char* elem) noexcept
try {
    return OXdupliqueChaine(elem);
} catch (const std::bad_alloc&) {
    return nullptr;
}

template <class T, int N>
int ajouter(T* (&liste)[N], int& nombre, T* elem, OXstatut& statut, const char* nom, const char* signature)
{
    DETAIL(signature, "elem = " << static_cast<const void*>(elem));
    if (elem == nullptr) {
        TRACER(NTO_NOTABLE, nom, "Tentative d'ajout d'un pointeur nul.");
        statut = orix::OXS_PARAMETRE_INVALIDE;
        return -1;
    }
    if (nombre >= N) {
        TRACER(NTO_NOTABLE, signature, "Sortie sur tableau saturé. Index:" << nombre << " taille:" << N);
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
    DETAIL(signature, "Nouvelle taille = " << nombre);
    return nombre;
}

/// Moves the entries of the array, given to the constructor, into the empty list, and releases the array.
/// Says what was wrong with it. Returns how many entries the list has.
template <class T, int N>
int adopter(T* (&liste)[N], T** tableau, int nombre, const char* nom, const char* condition,
            const char* signature)
{
    if (tableau == nullptr) {
        if (nombre != 0) {
            TRACER(NTO_NOTABLE, signature, "Non Validé (" << condition << ")");
            TRACER(NTO_NOTABLE, "OXvol_completData", "Taille non nulle pour le tableau nul " << nom << ".");
        }
        return 0;
    }
    if (nombre > N)
        TRACER(NTO_NOTABLE, "OXvol_completData",
               "Taille supérieure a la limite max pour le tableau " << nom << ".");
    nombre = std::clamp(nombre, 0, N);
    std::copy_n(tableau, nombre, liste);
    delete[] tableau;
    return nombre;
}

std::vector<orix::OXversion> tracerVersions(std::vector<orix::OXversion> versions, const char* signature)
{
    DETAIL(signature, "Entrée.");
    if (versions.size() == 2)
        DETAIL(signature, "Version(s) " << versions[0] << " et " << versions[1]);
    else
        DETAIL(signature, "Version(s) " << versions[0]);
    DETAIL(signature, "Sortie.");
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
#undef TEXTE
#undef CODE_STAT
{
#define TEXTE(nom) "char*, "
#define CODE_STAT(nom) "OXcode_statData*, "
    static constexpr const char* SIGNATURE =
        CONSTRUCTEUR(OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT) "int, OXcci_rub_chgtData**, int, char**");
#undef TEXTE
#undef CODE_STAT
    DETAIL(SIGNATURE, "Entrée Constructeur par defaut (v3.0.0).");
#define CHAMP(nom) m_##nom = nom;
    OXVOL_COMPLET_CHAMPS(CHAMP, CHAMP)
#undef CHAMP
    m_nrub_chgt = adopter(m_trub_chgt, trub_chgt, nrub_chgt, "m_trub_chgt", "nrub_chgt == 0", SIGNATURE);
    m_npoint = adopter(m_tpoint, tpoint, npoint, "m_tpoint", "npoint == 0", SIGNATURE);
    DETAIL(SIGNATURE, "Sortie Constructeur par defaut (v3.0.0).");
}

OXvol_completData::OXvol_completData(const OXvol_completData& source) : OXvol_completData(Vide{})
{
    DETAIL(CONSTRUCTEUR("const OXvol_completData&"), "Entrée.");
    _versionValide = source._versionValide;
    BlocVol bloc;
    pourChaqueChamp([&](const char*, auto& copie, const auto* champ) { bloc.prevoir(copie, champ); }, *this,
                    source);
    for (int i = 0; i < source.m_nrub_chgt; ++i)
        bloc.prevoir(m_trub_chgt[i], source.m_trub_chgt[i]);
    for (int i = 0; i < source.m_npoint; ++i)
        bloc.prevoir(m_tpoint[i], source.m_tpoint[i]);
    bloc.loger(_bloc, _finBloc);
    pourChaqueChamp([&](const char*, auto& copie, const auto* champ) { bloc.prendre(copie, champ); }, *this,
                    source);
    for (; m_nrub_chgt < source.m_nrub_chgt; ++m_nrub_chgt)
        bloc.prendre(m_trub_chgt[m_nrub_chgt], source.lire_rub_chgt(m_nrub_chgt));
    for (; m_npoint < source.m_npoint; ++m_npoint)
        bloc.prendre(m_tpoint[m_npoint], source.lire_point(m_npoint));
    DETAIL(CONSTRUCTEUR("const OXvol_completData&"), "Sortie.");
}

OXvol_completData::~OXvol_completData()
{
    DETAIL("OXvol_completData::~OXvol_completData()", "Entree.");
    const auto finir = [debut = _bloc, fin = _finBloc](auto* valeur) {
        orix::relacherDe(valeur, debut, fin);
    };
    pourChaqueChamp([&finir](const char*, auto* champ) { finir(champ); }, *this);
    std::for_each_n(m_trub_chgt, m_nrub_chgt, finir);
    std::for_each_n(m_tpoint, m_npoint, finir);
    delete[] _bloc;
    DETAIL("OXvol_completData::~OXvol_completData()", "Sortie.");
}

#define RELACHER(TYPE)                                                                                       \
    void OXvol_completData::relacher(TYPE* valeur) const noexcept                                            \
    {                                                                                                        \
        orix::relacherDe(valeur, _bloc, _finBloc);                                                           \
    }
RELACHER(char)
RELACHER(OXcode_statData)
RELACHER(OXcci_rub_chgtData)
#undef RELACHER

void OXvol_completData::echanger(OXvol_completData& autre) noexcept
{
    pourChaqueChamp([](const char*, auto& a, auto& b) { std::swap(a, b); }, *this, autre);
    std::swap(m_trub_chgt, autre.m_trub_chgt);
    std::swap(m_nrub_chgt, autre.m_nrub_chgt);
    std::swap(m_tpoint, autre.m_tpoint);
    std::swap(m_npoint, autre.m_npoint);
    std::swap(_bloc, autre._bloc);
    std::swap(_finBloc, autre._finBloc);
}

// The operations of each field and of each list differ by their names and types alone.

#define ACCESSEURS(TYPE, nom)                                                                                \
    const TYPE* OXvol_completData::lire_##nom(OXstatut& statut) const                                        \
    {                                                                                                        \
        return lire(m_##nom, statut, "lire_" #nom,                                                           \
                    METHODE("const " #TYPE "*", "lire_" #nom "(orix::OXstatut&) const"));                    \
    }                                                                                                        \
    const TYPE* OXvol_completData::lire_##nom() const                                                        \
    {                                                                                                        \
        OXstatut statut = sansStatut(METHODE("const " #TYPE "*", "lire_" #nom "() const"));                  \
        return lire_##nom(statut);                                                                           \
    }                                                                                                        \
    void OXvol_completData::ecrire_##nom(TYPE* valeur, OXstatut& statut)                                     \
    {                                                                                                        \
        ecrire(m_##nom, valeur, statut, METHODE("void", "ecrire_" #nom "(" #TYPE "*, orix::OXstatut&)"),     \
               [this](TYPE* ancien) { relacher(ancien); });                                                  \
    }                                                                                                        \
    void OXvol_completData::ecrire_##nom(TYPE* valeur)                                                       \
    {                                                                                                        \
        OXstatut statut = sansStatut(METHODE("void", "ecrire_" #nom "(" #TYPE "*)"));                        \
        ecrire_##nom(valeur, statut);                                                                        \
    }
#define TEXTE(nom) ACCESSEURS(char, nom)
#define CODE_STAT(nom) ACCESSEURS(OXcode_statData, nom)
OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
#undef ACCESSEURS

#define LISTE(TYPE, nom)                                                                                     \
    int OXvol_completData::nombre_##nom(OXstatut& statut) const                                              \
    {                                                                                                        \
        return compter(m_n##nom, statut, METHODE("int", "nombre_" #nom "(orix::OXstatut&) const"));          \
    }                                                                                                        \
    int OXvol_completData::nombre_##nom() const                                                              \
    {                                                                                                        \
        OXstatut statut = sansStatut(METHODE("int", "nombre_" #nom "() const"));                             \
        return nombre_##nom(statut);                                                                         \
    }                                                                                                        \
    const TYPE* OXvol_completData::lire_##nom(int index, OXstatut& statut) const                             \
    {                                                                                                        \
        return lireEntree(m_t##nom, m_n##nom, index, statut,                                                 \
                          METHODE("const " #TYPE "*", "lire_" #nom "(int, orix::OXstatut&) const"),          \
                          [this] { return nombre_##nom(); });                                                \
    }                                                                                                        \
    const TYPE* OXvol_completData::lire_##nom(int index) const                                               \
    {                                                                                                        \
        OXstatut statut = sansStatut(METHODE("const " #TYPE "*", "lire_" #nom "(int) const"), ".");          \
        return lire_##nom(index, statut);                                                                    \
    }                                                                                                        \
    int OXvol_completData::ajouter_##nom(TYPE* elem, OXstatut& statut)                                       \
    {                                                                                                        \
        return ajouter(m_t##nom, m_n##nom, elem, statut, "ajouter_" #nom,                                    \
                       METHODE("int", "ajouter_" #nom "(" #TYPE "*, orix::OXstatut&)"));                     \
    }                                                                                                        \
    int OXvol_completData::ajouter_##nom(TYPE* elem)                                                         \
    {                                                                                                        \
        OXstatut statut = sansStatut(METHODE("int", "ajouter_" #nom "(" #TYPE "*)"));                        \
        return ajouter_##nom(elem, statut);                                                                  \
    }
LISTE(OXcci_rub_chgtData, rub_chgt)
LISTE(char, point)
#undef LISTE

void OXvol_completData::definirVersionValide_v3_0_0()
{
    DETAIL(METHODE("void", "definirVersionValide_v3_0_0()"), "Entrée.");
    _versionValide = _version1;
    pourChaqueChamp([](const char*, auto* champ) { declarerValide(champ); }, *this);
    std::for_each_n(m_trub_chgt, m_nrub_chgt, [](OXcci_rub_chgtData* entree) { declarerValide(entree); });
    DETAIL(METHODE("void", "definirVersionValide_v3_0_0()"), "Sortie.");
}

std::vector<orix::OXversion> OXvol_completData::lireVersion() const
{
    static constexpr const char* SIGNATURE = METHODE("std::vector<orix::OXversion>", "lireVersion() const");
    if (_versionValide == orix::VERSION_NULLE)
        return tracerVersions({_version1, _version2}, SIGNATURE);
    return tracerVersions({_versionValide}, SIGNATURE);
}

std::vector<orix::OXversion> OXvol_completData::lireVersionsConnues() const
{
    return tracerVersions({_version1},
                          METHODE("std::vector<orix::OXversion>", "lireVersionsConnues() const"));
}

const char* OXvol_completData::lireNomService() const
{
    DETAIL(METHODE("const char*", "lireNomService() const"), "Entrée/Retour cdv");
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

    pourChaqueChamp(
        [&flux](const char* nom, const auto* champ) {
            flux << "\t\t " << nom << " v3.0.0 : ";
            if (champ != nullptr)
                ecrireValeur(flux, champ);
            else
                flux << "NULL";
            flux << std::endl;
        },
        vol);

    // Numbers as texts: decimal, whatever the stream does with its own.
    flux << "\t\t Tableau m_trub_chgt v3.0.0 Nb d'elements " << std::to_string(vol.m_nrub_chgt) << std::endl;
    for (int i = 0; i < vol.m_nrub_chgt; ++i) {
        flux << "\t\t m_trub_chgt[" << std::to_string(i) << "] = " << std::endl;
        if (vol.m_trub_chgt[i] != nullptr)
            flux << *vol.m_trub_chgt[i];
        flux << std::endl;
    }
    flux << "\t\t Tableau m_tpoint v3.0.0 Nb d'elements " << std::to_string(vol.m_npoint) << std::endl;
    for (int i = 0; i < vol.m_npoint; ++i)
        flux << "\t\t m_tpoint[" << std::to_string(i) << "] = " << valeurTracee(vol.m_tpoint[i]) << std::endl;
    return flux << " --- Fin OXvol_completData" << std::endl;
}
