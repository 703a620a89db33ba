#include "VolRecu.h"

#include "VueVolComplet.h"

#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr bool EST_CODE[] = {
#define TEXTE(nom) false,
#define CODE_STAT(nom) true,
    OXVOL_COMPLET_CHAMPS(TEXTE, CODE_STAT)
#undef TEXTE
#undef CODE_STAT
};

std::string_view siMis(std::string_view texte) noexcept
{
    constexpr std::size_t TAILLE = sizeof VueVolComplet::MARQUEUR_NUL;
    const bool nul =
        texte.size() == TAILLE && std::memcmp(texte.data(), VueVolComplet::MARQUEUR_NUL, TAILLE) == 0;
    return nul ? std::string_view() : texte;
}

/// The wire form of a sibling, which borrows its texts.
template <class Fil>
class Emprunt : orix::INonCopiable
{
  public:
    explicit Emprunt(const char* const (&textes)[3])
    {
        auto& [a, b, c] = _fil;
        a = const_cast<char*>(textes[0]);
        b = const_cast<char*>(textes[1]);
        c = const_cast<char*>(textes[2]);
    }
    ~Emprunt()
    {
        auto& [a, b, c] = _fil;
        a._retn(), b._retn(), c._retn();
    }
    const Fil& lire() const { return _fil; }

  private:
    Fil _fil;
};

} // namespace

void VolRecu::lire(orix::orb::LecteurRequete& lecteur)
{
    if (!lecteur.estSurPlace()) {
        _parLORB = std::make_unique<OXvol_completData_v3_0_0>();
        return lecteur.parLORB(*_parLORB);
    }
    int code = 0;
    for (const bool estCode : EST_CODE) {
        if (!estCode) {
            _bloc.ajouter(siMis(lecteur.texte()));
            continue;
        }
        if (lecteur.nombre(1) != 0) {
            _presents[code] = true;
            _lireVoisin(lecteur, _codes[code]);
            _bloc.reserver<OXcode_statData>();
        }
        ++code;
    }
    _nombreChangements = lecteur.nombre(OXvol_completData::MAX_RUB_CHGT);
    for (int i = 0; i < _nombreChangements; ++i) {
        _lireVoisin(lecteur, _changements[i]);
        _bloc.reserver<OXcci_rub_chgtData>();
    }
    _nombrePoints = lecteur.nombre(OXvol_completData::MAX_POINT);
    for (int i = 0; i < _nombrePoints; ++i)
        _bloc.ajouter(lecteur.texte());
    try {
        _loger();
    } catch (const std::bad_alloc&) {
        _sansMemoire = true;
    }
}

void VolRecu::_lireVoisin(orix::orb::LecteurRequete& lecteur, Voisin& voisin)
{
    for (int i = 0; i < TEXTES_VOISIN; ++i) {
        const std::string_view texte = lecteur.texte();
        voisin.textes[i] = texte.data();
        voisin.tailles[i] = texte.size();
        _octetsVoisins += texte.size();
    }
}

void VolRecu::_loger()
{
    char* debut = nullptr;
    _bloc.loger(debut, _fin);
    _memoire.reset(debut);

    char* place = _voisins;
    if (_octetsVoisins > sizeof _voisins) {
        _voisinsLongs.reset(new char[_octetsVoisins]);
        place = _voisinsLongs.get();
    }
    const auto loger = [&place](Voisin& voisin) {
        for (int i = 0; i < TEXTES_VOISIN; ++i) {
            std::memcpy(place, voisin.textes[i], voisin.tailles[i]);
            voisin.textes[i] = std::exchange(place, place + voisin.tailles[i]);
        }
    };
    for (int i = 0; i < NOMBRE_CODES; ++i)
        if (_presents[i])
            loger(_codes[i]);
    for (int i = 0; i < _nombreChangements; ++i)
        loger(_changements[i]);
}

OXvol_completData* VolRecu::faire()
{
    return _parLORB ? new OXvol_completData(*_parLORB) : new OXvol_completData(*this);
}

void VolRecu::_ceder(char*& debut, const char*& fin)
{
    if (_sansMemoire)
        throw std::bad_alloc();
    debut = _memoire.release();
    fin = _fin;
}

void VolRecu::_poser(OXcode_statData*& code)
{
    const int rang = _codesPoses++;
    if (_presents[rang])
        code = _bloc.objet<OXcode_statData>(Emprunt<OXcode_statData_v3_0_0>(_codes[rang].textes).lire());
}

void VolRecu::_poser(OXcci_rub_chgtData*& changement)
{
    const Voisin& voisin = _changements[_changementsPoses++];
    changement = _bloc.objet<OXcci_rub_chgtData>(Emprunt<OXcci_rub_chgtData_v3_0_0>(voisin.textes).lire());
}
