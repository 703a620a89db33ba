#include "Fiche.h"

#include "ColonnesVol.h"

#include <algorithm>
#include <utility>

namespace serveur {

namespace {

constexpr std::size_t PARTIES_CHANGEMENT = 3;

/// Gives surTexte(rank, text) the texts of a list's column, parts for each element, as many as the sequence
/// takes. Sized once: a sequence that grew would copy what it was lent.
template <class Sequence, class SurTexte>
void etaler(std::string_view octets, std::size_t parties, Sequence& sequence, SurTexte surTexte)
{
    const auto textes = static_cast<std::size_t>(std::count(octets.begin(), octets.end(), '\0'));
    const std::size_t nombre = std::min<std::size_t>(textes / parties, sequence.maximum());
    sequence.length(static_cast<CORBA::ULong>(nombre));
    const char* texte = octets.data();
    for (std::size_t rang = 0; rang < nombre * parties; ++rang, texte += std::strlen(texte) + 1)
        surTexte(rang, const_cast<char*>(texte));
}

} // namespace

Fiche::Fiche(const Vol& vol) : Fiche()
{
    for (const Colonne& colonne : colonnesVol()) {
        const char* texte = colonne.lire(vol);
        ajouter(texte != nullptr ? std::string_view(texte) : std::string_view());
    }
    const auto ecrire = [this](const char* texte) { _octets.append(texte, std::strlen(texte) + 1); };
    _ajouterListe(vol.m_trub_chgt, [&](const auto& changement) {
        ecrire(changement.m_grubrique);
        ecrire(changement.m_gancienne_valeur);
        ecrire(changement.m_gnouvelle_valeur);
    });
    _ajouterListe(vol.m_tpoint, ecrire);
}

FichePartagee Fiche::vide()
{
    constexpr std::size_t LISTES = 2;
    const auto fiche = std::make_shared<Fiche>();
    for (std::size_t colonne = 0; colonne < colonnesVol().size() + LISTES; ++colonne)
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

template <class Sequence, class Ecriture>
void Fiche::_ajouterListe(const Sequence& sequence, Ecriture ecrire)
{
    if (sequence.length() == 0)
        return ajouter({});
    ajouter("");
    const std::size_t debut = _octets.size() - 1;
    _octets.pop_back();
    for (CORBA::ULong i = 0; i < sequence.length(); ++i)
        ecrire(sequence[i]);
    const auto taille = static_cast<Taille>(_octets.size() - debut);
    std::memcpy(_octets.data() + debut - sizeof taille, &taille, sizeof taille);
    _octets.push_back('\0');
}

const char* Fiche::identifiant() const
{
    std::size_t debut = 0;
    const std::string_view octets = _lire(debut);
    return octets.empty() ? nullptr : octets.data();
}

namespace {

/// Makes the status code present: what its row lacks of it is not set.
void preterCodeVide(SeqOXcode_statData_v3_0_0& code)
{
    if (code.length() != 0)
        return;
    code.length(1);
    for (const auto partie : {&OXcode_statData_v3_0_0::m_gcode, &OXcode_statData_v3_0_0::m_glibelle,
                              &OXcode_statData_v3_0_0::m_gheure_chgt})
        code[0].*partie = const_cast<char*>(TEXTE_NUL);
}

} // namespace

const Vol& VolPrete::preter(const Fiche& fiche)
{
    _reprendre();
    const std::vector<Colonne>& colonnes = colonnesVol();
    auto colonne = colonnes.begin();
    bool changements = true; // the list that comes next, after the texts
    fiche.parcourir([&](std::string_view octets) {
        if (colonne != colonnes.end()) {
            if (octets.data() != nullptr) {
                if (colonne->code != nullptr)
                    preterCodeVide(_vol.*(colonne->code));
                colonne->reprendre(_vol);
                colonne->poser(_vol, const_cast<char*>(octets.data()));
            } else if (colonne->champ != nullptr)
                colonne->poser(_vol, const_cast<char*>(TEXTE_NUL));
            ++colonne;
        } else if (std::exchange(changements, false)) {
            etaler(octets, PARTIES_CHANGEMENT, _vol.m_trub_chgt, [&](std::size_t rang, char* texte) {
                auto& changement = _vol.m_trub_chgt[static_cast<CORBA::ULong>(rang / PARTIES_CHANGEMENT)];
                (rang % PARTIES_CHANGEMENT == 0   ? changement.m_grubrique
                 : rang % PARTIES_CHANGEMENT == 1 ? changement.m_gancienne_valeur
                                                  : changement.m_gnouvelle_valeur) = texte;
            });
        } else {
            etaler(octets, 1, _vol.m_tpoint, [&](std::size_t rang, char* texte) {
                _vol.m_tpoint[static_cast<CORBA::ULong>(rang)] = texte;
            });
        }
    });
    return _vol;
}

void VolPrete::_reprendre() noexcept
{
    for (const Colonne& colonne : colonnesVol())
        colonne.reprendre(_vol);
    _vol.m_pcode_stat_depart.length(0);
    _vol.m_pcode_stat_arrivee.length(0);
    for (CORBA::ULong i = 0; i < _vol.m_trub_chgt.length(); ++i) {
        _vol.m_trub_chgt[i].m_grubrique._retn();
        _vol.m_trub_chgt[i].m_gancienne_valeur._retn();
        _vol.m_trub_chgt[i].m_gnouvelle_valeur._retn();
    }
    _vol.m_trub_chgt.length(0);
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): a sequence keeps its buffer
    for (CORBA::ULong i = 0; i < _vol.m_tpoint.length(); ++i)
        _vol.m_tpoint[i]._retn();
    _vol.m_tpoint.length(0);
}

} // namespace serveur
