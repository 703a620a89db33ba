#include "ColonnesVol.h"

#include "OXvol_completDataChamps.h"

#include <cstring>

namespace cdv {

namespace {

constexpr const char* TEXTE_NUL = "__PtrNULL__"; // what stands on the wire for a text that is not set

bool estNul(const char* texte) { return std::strcmp(texte, TEXTE_NUL) == 0; }

char* copier(const char* donnees, std::size_t taille)
{
    char* copie = CORBA::string_alloc(static_cast<CORBA::ULong>(taille));
    std::memcpy(copie, donnees, taille);
    copie[taille] = '\0';
    return copie;
}

void ajouter(std::string& octets, const char* texte)
{
    octets += texte;
    octets += '\0';
}

/// The texts of a coded list, each with its terminator.
std::vector<const char*> decouper(std::string_view octets)
{
    std::vector<const char*> textes;
    for (std::size_t debut = 0; debut < octets.size(); debut = octets.find('\0', debut) + 1)
        textes.push_back(octets.data() + debut);
    return textes;
}

} // namespace

const char* Colonne::lire(const Vol& vol) const
{
    if (champ != nullptr) {
        const char* texte = (vol.*champ).in();
        return estNul(texte) ? nullptr : texte;
    }
    return (vol.*code).length() == 0 ? nullptr : ((vol.*code)[0].*partie).in();
}

const char* Colonne::lireExemple(const Vol& exemple) const
{
    const char* texte = lire(exemple);
    return texte == nullptr || estNul(texte) ? nullptr : texte;
}

void Colonne::ecrire(Vol& vol, const char* donnees, std::size_t taille) const
{
    if (champ != nullptr) {
        vol.*champ = donnees != nullptr ? copier(donnees, taille) : CORBA::string_dup(TEXTE_NUL);
    } else if (donnees != nullptr) {
        (vol.*code).length(1);
        (vol.*code)[0].*partie = copier(donnees, taille);
    }
}

const std::vector<Colonne>& colonnesVol()
{
    using Vol = Colonne::Vol;
    using Code = Colonne::CodeStat;
#define COLONNE_TEXTE(nom) {"m_" #nom, &Vol::m_##nom, nullptr, nullptr},
#define COLONNES_CODE(nom)                                                                                   \
    {"m_" #nom "_code", nullptr, &Vol::m_##nom, &Code::m_gcode},                                             \
        {"m_" #nom "_libelle", nullptr, &Vol::m_##nom, &Code::m_glibelle},                                   \
        {"m_" #nom "_heure_chgt", nullptr, &Vol::m_##nom, &Code::m_gheure_chgt},
    static const std::vector<Colonne> colonnes{OXVOL_COMPLET_CHAMPS(COLONNE_TEXTE, COLONNES_CODE)};
#undef COLONNE_TEXTE
#undef COLONNES_CODE
    return colonnes;
}

std::string coderPoints(const OXvol_completData_v3_0_0& vol)
{
    std::string octets;
    for (CORBA::ULong i = 0; i < vol.m_tpoint.length(); ++i)
        ajouter(octets, vol.m_tpoint[i]);
    return octets;
}

std::string coderChangements(const OXvol_completData_v3_0_0& vol)
{
    std::string octets;
    for (CORBA::ULong i = 0; i < vol.m_trub_chgt.length(); ++i) {
        ajouter(octets, vol.m_trub_chgt[i].m_grubrique);
        ajouter(octets, vol.m_trub_chgt[i].m_gancienne_valeur);
        ajouter(octets, vol.m_trub_chgt[i].m_gnouvelle_valeur);
    }
    return octets;
}

void decoderPoints(OXvol_completData_v3_0_0& vol, std::string_view octets)
{
    const std::vector<const char*> textes = decouper(octets);
    vol.m_tpoint.length(static_cast<CORBA::ULong>(textes.size()));
    for (CORBA::ULong i = 0; i < textes.size(); ++i)
        vol.m_tpoint[i] = textes[i];
}

void decoderChangements(OXvol_completData_v3_0_0& vol, std::string_view octets)
{
    const std::vector<const char*> textes = decouper(octets);
    const auto nombre = static_cast<CORBA::ULong>(textes.size() / 3);
    vol.m_trub_chgt.length(nombre);
    for (CORBA::ULong i = 0; i < nombre; ++i) {
        vol.m_trub_chgt[i].m_grubrique = textes[3 * i];
        vol.m_trub_chgt[i].m_gancienne_valeur = textes[3 * i + 1];
        vol.m_trub_chgt[i].m_gnouvelle_valeur = textes[3 * i + 2];
    }
}

} // namespace cdv
