#ifndef VOLRECU_H
#define VOLRECU_H

#include "BlocVol.h"
#include "RequeteLue.h"

#include "OXvol_completDataC.h"

#include "orix/INonCopiable.h"

#include <memory>

/// A record as a request brings it, while nobody knows yet what becomes of it: its texts stand in the block
/// of the record to be.
class VolRecu : orix::INonCopiable
{
  public:
    VolRecu() = default;

    /// Throws CORBA::MARSHAL. Lacking memory is told by faire(), whose caller answers for the record.
    void lire(orix::orb::LecteurRequete& lecteur);

    /// The record; the caller's. Once. Throws std::bad_alloc.
    OXvol_completData* faire();

  private:
    friend class OXvol_completData;

    static constexpr int TEXTES_VOISIN = 3;
    /// A status code or changed field: texts with their NUL. Its own class makes copies of them.
    struct Voisin
    {
        const char* textes[TEXTES_VOISIN];
        std::size_t tailles[TEXTES_VOISIN];
    };

    void _lireVoisin(orix::orb::LecteurRequete& lecteur, Voisin& voisin);
    void _loger();

    // For the record, in wire order.
    void _ceder(char*& debut, const char*& fin);
    void _poser(char*& texte) noexcept { texte = _bloc.texte(); }
    void _poser(OXcode_statData*& code);
    void _poser(OXcci_rub_chgtData*& changement);

    BlocVol _bloc;
    std::unique_ptr<char[]> _memoire; // of the block
    const char* _fin = nullptr;
    bool _sansMemoire = false;

    Voisin _codes[NOMBRE_CODES];
    bool _presents[NOMBRE_CODES] = {};
    int _codesPoses = 0;
    Voisin _changements[OXvol_completData::MAX_RUB_CHGT];
    int _nombreChangements = 0;
    int _changementsPoses = 0;
    int _nombrePoints = 0;
    char _voisins[256]; // their texts, which the message does not keep
    std::unique_ptr<char[]> _voisinsLongs;
    std::size_t _octetsVoisins = 0;

    std::unique_ptr<OXvol_completData_v3_0_0> _parLORB; // instead of all that
};

#endif
