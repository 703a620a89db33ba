#ifndef MAGASINESSAI_H
#define MAGASINESSAI_H

#include "ColonnesVol.h"
#include "LiaisonORB.h"
#include "OXvol_completData.h"
#include "OuvertureMagasin.h"

#include <gmock/gmock.h>

#include <sstream>

/// What tests ask of a store, whichever it is.
namespace essais {

using namespace serveur;

/// A record with nothing set but, where given, the identifier.
inline Vol volNul(const char* identifiant = TEXTE_NUL)
{
    Vol vol = OXvol_completData().construireObjetSpecifique_v3_0_0();
    vol.m_gidentifiant = identifiant;
    return vol;
}

/// A status code with those parts.
inline void poser(SeqOXcode_statData_v3_0_0& codes, const char* code, const char* libelle, const char* heure)
{
    codes.length(1);
    codes[0].m_gcode = code;
    codes[0].m_glibelle = libelle;
    codes[0].m_gheure_chgt = heure;
}

/// A record with everything set, each text different, and all bytes that a text can hold.
inline Vol volPlein(const std::string& identifiant)
{
    Vol vol = volNul();
    int numero = 0;
    for (const Colonne& colonne : colonnesVol()) {
        const std::string texte = "valeur " + std::to_string(++numero);
        colonne.poser(vol, CORBA::string_dup(texte.c_str()));
    }
    std::string octets;
    for (int octet = 1; octet < 256; ++octet)
        octets += static_cast<char>(octet);
    vol.m_gidentifiant = identifiant.c_str();
    vol.m_gnature = octets.c_str();
    vol.m_gpiste = "";
    vol.m_gparking = "__PtrNULL__";
    vol.m_pcode_stat_arrivee[0].m_glibelle = "__PtrNULL__";
    vol.m_trub_chgt.length(6);
    for (CORBA::ULong i = 0; i < 6; ++i) {
        vol.m_trub_chgt[i].m_grubrique = ("rubrique " + std::to_string(i)).c_str();
        vol.m_trub_chgt[i].m_gancienne_valeur = "";
        vol.m_trub_chgt[i].m_gnouvelle_valeur = "__PtrNULL__";
    }
    vol.m_tpoint.length(10);
    for (CORBA::ULong i = 0; i < 10; ++i)
        vol.m_tpoint[i] = i % 2 == 0 ? "" : octets.c_str();
    return vol;
}

/// Everything that the record holds, byte for byte.
inline std::string contenu(const Vol& vol)
{
    std::ostringstream texte;
    texte << OXvol_completData(vol);
    return texte.str();
}

inline std::string contenu(const Fiche& fiche)
{
    static const CORBA::ORB_var orb = [] { // texts travel in its character set
        int argc = 0;
        return orix::orb::creerORB(argc, nullptr, {});
    }();
    cdrMemoryStream flux;
    fiche >>= flux;
    Vol vol;
    vol <<= flux;
    EXPECT_FALSE(flux.checkInputOverrun(1, 1));
    return contenu(vol);
}

struct Issue
{
    int resultat;
    FichePartagee vol;
};

/// A store, and the ways into it.
struct Ouvert
{
    explicit Ouvert(const std::string& base) : Ouvert(ouvrirMagasin(base, {})) {}
    explicit Ouvert(std::unique_ptr<Magasin> celui)
        : magasin(std::move(celui)), ecriture(magasin->ouvrirEcriture()), lecture(magasin->ouvrirLecture())
    {}

    const std::unique_ptr<Magasin> magasin;
    std::unique_ptr<Ecriture> ecriture;
    std::unique_ptr<Lecture> lecture;
};

/// By the way of the changes; consultations by the other one too, which says the same.
inline Issue executer(const Ouvert& base, Operation operation, const Vol& vol)
{
    Demande demande{operation, std::make_shared<Fiche>(vol)};
    base.ecriture->executer({&demande});
    if (operation == Operation::consulte) {
        Demande lue{operation, std::make_shared<Fiche>(vol)};
        base.lecture->consulter({&lue});
        EXPECT_EQ(lue.resultat, demande.resultat);
        EXPECT_EQ(contenu(*lue.vol), contenu(*demande.vol));
    }
    return {demande.resultat, demande.vol};
}

/// The results of a group.
inline std::vector<int> executer(const Ouvert& base, std::vector<Demande>& demandes)
{
    Lot lot;
    for (Demande& demande : demandes)
        lot.push_back(&demande);
    EXPECT_EQ(base.ecriture->executer(lot), lot.size());
    std::vector<int> resultats;
    for (const Demande& demande : demandes)
        resultats.push_back(demande.resultat);
    return resultats;
}

/// In slices of one record each, or of many.
inline std::vector<std::string> lister(const Ouvert& base, const Vol& exemple, std::size_t octets = 1)
{
    std::vector<std::string> identifiants;
    Parcours parcours;
    while (!parcours.fini && !testing::Test::HasFailure())
        EXPECT_EQ(FAIT, base.lecture->lister(Fiche(exemple), parcours, octets, [&](const FichePartagee& vol) {
            identifiants.emplace_back(vol->identifiant());
        }));
    return identifiants;
}

} // namespace essais

#endif
