#ifndef LECTURESVOL_H
#define LECTURESVOL_H

// The two ways in which a record that travelled is read: by the ORB's own code, and where it stands.
#include "VolRecu.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace essais {

/// What came of a reading.
struct VolLu
{
    std::string texte;    ///< the record as people read it; empty: it was refused
    CORBA::ULong fin = 0; ///< where the reading ended

    bool operator==(const VolLu& autre) const { return texte == autre.texte && fin == autre.fin; }
    friend std::ostream& operator<<(std::ostream& flux, const VolLu& lecture)
    {
        return flux << "up to " << lecture.fin << "\n" << lecture.texte;
    }
};

inline std::string afficher(const OXvol_completData& vol)
{
    std::ostringstream texte;
    texte << vol;
    return texte.str();
}

/// The octets of a record on the wire. In memory of their size, and aligned, as those of a message are.
class OctetsVol
{
  public:
    OctetsVol(const void* octets, std::size_t taille) : _octets((taille + 7) / 8), _taille(taille)
    {
        std::copy_n(static_cast<const char*>(octets), taille, reinterpret_cast<char*>(_octets.data()));
    }

    VolLu lireSurPlace() const
    {
        return lire([](cdrStream& flux) { return afficher(*_faire(flux)); });
    }
    std::unique_ptr<OXvol_completData> faireSurPlace() const
    {
        cdrMemoryStream flux = _flux();
        return _faire(flux);
    }

    /// As the ORB reads it. The ORB lets a text have a NUL inside, and cuts it there: such a record is
    /// refused.
    VolLu lireParLORB() const
    {
        bool entier = true;
        const VolLu lecture = lire([&](cdrStream& flux) {
            OXvol_completData_v3_0_0 fil;
            fil <<= flux;
            entier = _sontEntiers(fil);
            return afficher(OXvol_completData(fil));
        });
        return entier ? lecture : VolLu();
    }

    /// faire: reads the record, and gives its text; throws CORBA::MARSHAL.
    template <class Faire>
    VolLu lire(Faire faire) const
    {
        cdrMemoryStream flux = _flux();
        const CORBA::ULong debut = flux.currentInputPtr();
        VolLu lecture;
        try {
            lecture.texte = faire(flux);
            lecture.fin = flux.currentInputPtr() - debut;
        } catch (const CORBA::MARSHAL&) {
            return {};
        }
        return lecture;
    }

  private:
    using Vol = std::unique_ptr<OXvol_completData>;

    static Vol _faire(cdrStream& flux)
    {
        orix::orb::LecteurRequete lecteur(flux);
        VolRecu recu;
        recu.lire(lecteur);
        return Vol(recu.faire());
    }

    cdrMemoryStream _flux() const { return {const_cast<std::uint64_t*>(_octets.data()), _taille}; }

    /// Whether each text has the length that was announced.
    bool _sontEntiers(const OXvol_completData_v3_0_0& fil) const
    {
        cdrMemoryStream flux = _flux();
        bool entiers = true;
        const auto texte = [&](const char* lu) {
            const CORBA::ULong taille = flux.unmarshalULong();
            entiers = entiers && taille == std::strlen(lu) + 1;
            flux.skipInput(taille);
        };
        const auto voisin = [&](const auto& lu) {
            const auto& [a, b, c] = lu;
            texte(a), texte(b), texte(c);
        };
        const auto liste = [&](const auto& lue, auto element) {
            flux.unmarshalULong();
            for (CORBA::ULong i = 0; i < lue.length(); ++i)
                element(lue[i]);
        };
#define TEXTE(nom) texte(fil.m_##nom);
#define CODE_STAT(nom) liste(fil.m_##nom, voisin);
        OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
        liste(fil.m_trub_chgt, voisin);
        liste(fil.m_tpoint, texte);
        return entiers;
    }

    std::vector<std::uint64_t> _octets;
    std::size_t _taille;
};

/// The octets of a record whose lists are empty, with so many changed fields and points instead.
inline std::string avecListes(const std::string& octets, unsigned char changements, unsigned char points)
{
    const std::string texte("\2\0\0\0x\0\0\0", 8);
    std::string autre = octets.substr(0, octets.size() - 8);
    for (const auto& [nombre, textes] : {std::pair{changements, 3 * changements}, {points, int(points)}}) {
        autre += std::string{static_cast<char>(nombre), '\0', '\0', '\0'};
        for (int i = 0; i < textes; ++i)
            autre += texte;
    }
    return autre;
}

/// Gives comparer() the octets of a record, with more behind them, cut off and wrong at each place.
template <class Comparer>
void chaqueAlteration(const std::string& octets, Comparer comparer)
{
    comparer(octets + "more");
    for (std::size_t place = 0; place < octets.size(); ++place) {
        comparer(octets.substr(0, place));
        std::string autre = octets;
        for (const int octet : {0, 1, 11, 0xFF}) { // of a length, of a text, between them
            autre[place] = static_cast<char>(octet);
            comparer(autre);
        }
    }
}

} // namespace essais

#endif
