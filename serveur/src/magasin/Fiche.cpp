#include "Fiche.h"

#include "ColonnesVol.h"
#include "RequeteLue.h"

#include <algorithm>

namespace serveur {

namespace {

constexpr int PARTIES_CODE = 3;

std::string_view vue(const char* texte) { return texte != nullptr ? texte : std::string_view(); }

using Ecrivain = orix::orb::EcrivainTextes;

std::string_view ouMarqueur(std::string_view texte) { return texte.data() != nullptr ? texte : TEXTE_NUL; }

/// A status code: absent when none of its parts is a text.
void ecrireCode(Ecrivain& ecrivain, const std::string_view (&parties)[PARTIES_CODE])
{
    const bool present = std::any_of(std::begin(parties), std::end(parties),
                                     [](std::string_view partie) { return partie.data() != nullptr; });
    ecrivain.nombre(present ? 1 : 0);
    for (const std::string_view partie : parties)
        if (present)
            ecrivain.texte(ouMarqueur(partie));
}

/// The texts of a list's column, that many for each element.
void ecrireListe(Ecrivain& ecrivain, std::string_view octets, int parties, int maximum)
{
    const auto textes = static_cast<int>(std::count(octets.begin(), octets.end(), '\0'));
    const int nombre = std::min(textes / parties, maximum);
    ecrivain.nombre(static_cast<std::size_t>(nombre));
    const char* texte = octets.data();
    for (int rang = 0; rang < nombre * parties; ++rang) {
        const std::string_view celui(texte);
        ecrivain.texte(celui);
        texte += celui.size() + 1;
    }
}

} // namespace

std::size_t TextesVol::Liste::octets() const
{
    std::size_t octets = 0;
    for (int i = 0; i < nombre; ++i)
        octets += textes[i].size() + 1;
    return octets;
}

TextesVol::TextesVol(const Vol& vol)
{
    std::string_view* place = _colonnes;
    for (const Colonne& colonne : colonnesVol())
        *place++ = vue(colonne.lire(vol));
    for (CORBA::ULong i = 0; i < vol.m_trub_chgt.length(); ++i)
        for (const auto& partie :
             {vol.m_trub_chgt[i].m_grubrique.in(), vol.m_trub_chgt[i].m_gancienne_valeur.in(),
              vol.m_trub_chgt[i].m_gnouvelle_valeur.in()})
            _changements.ajouter(partie);
    for (CORBA::ULong i = 0; i < vol.m_tpoint.length(); ++i)
        _points.ajouter(vol.m_tpoint[i].in());
}

TextesVol::TextesVol(orix::orb::LecteurRequete& lecteur)
{
    const auto lire = [&lecteur] {
        std::string_view texte = lecteur.texte();
        texte.remove_suffix(1);
        return texte;
    };
    std::string_view* place = _colonnes;
    const std::vector<Colonne>& colonnes = colonnesVol();
    for (auto colonne = colonnes.begin(); colonne != colonnes.end();) {
        if (colonne->champ != nullptr) {
            const std::string_view texte = lire();
            *place++ = texte != TEXTE_NUL ? texte : std::string_view();
            ++colonne;
            continue;
        }
        const bool present = lecteur.nombre(1) != 0;
        for (int partie = 0; partie < PARTIES_CODE; ++partie)
            *place++ = present ? lire() : std::string_view();
        colonne += PARTIES_CODE;
    }
    for (int reste = lecteur.nombre(CHANGEMENTS_MAX) * PARTIES_CHANGEMENT; reste > 0; --reste)
        _changements.ajouter(lire());
    for (int reste = lecteur.nombre(POINTS_MAX); reste > 0; --reste)
        _points.ajouter(lire());
}

Fiche::Fiche(const TextesVol& textes)
{
    std::size_t octets =
        (NOMBRE_COLONNES + 2) * (sizeof(Taille) + 1) + textes._changements.octets() + textes._points.octets();
    for (const std::string_view texte : textes._colonnes)
        octets += texte.size();
    _octets.reserve(octets);
    for (const std::string_view texte : textes._colonnes)
        ajouter(texte);
    _ajouterListe(textes._changements);
    _ajouterListe(textes._points);
}

FichePartagee Fiche::vide()
{
    constexpr int LISTES = 2;
    const auto fiche = std::make_shared<Fiche>();
    for (int colonne = 0; colonne < NOMBRE_COLONNES + LISTES; ++colonne)
        fiche->ajouter({});
    return fiche;
}

void Fiche::ajouter(std::string_view octets)
{
    const Taille taille = octets.data() != nullptr ? static_cast<Taille>(octets.size()) : ABSENT;
    _octets.append(reinterpret_cast<const char*>(&taille), sizeof taille);
    if (taille != ABSENT)
        _octets.append(octets).push_back('\0');
}

void Fiche::_ajouterListe(const TextesVol::Liste& liste)
{
    if (liste.nombre == 0)
        return ajouter({});
    const auto taille = static_cast<Taille>(liste.octets());
    _octets.append(reinterpret_cast<const char*>(&taille), sizeof taille);
    for (int i = 0; i < liste.nombre; ++i)
        _octets.append(liste.textes[i]).push_back('\0');
    _octets.push_back('\0');
}

const char* Fiche::identifiant() const
{
    std::size_t debut = 0;
    const std::string_view octets = _lire(debut);
    return octets.empty() ? nullptr : octets.data();
}

void operator>>=(const Fiche& fiche, cdrStream& flux)
{
    Ecrivain ecrivain(flux);
    const std::vector<Colonne>& colonnes = colonnesVol();
    auto colonne = colonnes.begin();
    std::string_view parties[PARTIES_CODE];
    int nombreParties = 0;
    bool changements = true; // the list that comes next, after the texts
    fiche.parcourir([&](std::string_view octets) {
        if (colonne == colonnes.end()) {
            ecrireListe(ecrivain, octets, changements ? PARTIES_CHANGEMENT : 1,
                        changements ? CHANGEMENTS_MAX : POINTS_MAX);
            changements = false;
        } else if ((colonne++)->champ != nullptr) {
            ecrivain.texte(ouMarqueur(octets));
        } else {
            parties[nombreParties++] = octets;
            if (nombreParties == PARTIES_CODE) {
                ecrireCode(ecrivain, parties);
                nombreParties = 0;
            }
        }
    });
}

} // namespace serveur
