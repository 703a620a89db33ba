#include "Cadrage.h"

#include <algorithm>
#include <cstring>

namespace orix::orb {

namespace {

constexpr std::size_t COURT = 8192;    // a message that anybody may send
constexpr std::size_t OUVERTS_MAX = 4; // requests in fragments at a time

enum Genre : unsigned char
{
    REQUEST = 0,
    CANCEL_REQUEST = 2,
    LOCATE_REQUEST = 3,
    CLOSE_CONNECTION = 5,
    MESSAGE_ERROR = 6,
    FRAGMENT = 7
};

// Places in a header.
constexpr std::size_t VERSION = 4;
constexpr std::size_t MINEURE = 5;
constexpr std::size_t DRAPEAUX = 6;
constexpr std::size_t GENRE = 7;
constexpr std::size_t TAILLE = 8;
constexpr std::size_t NUMERO = 12; // of the request, from version 1.2 on
constexpr unsigned char PETIT_BOUTISTE = 1;
constexpr unsigned char A_SUIVRE = 2;

} // namespace

bool Cadrage::suivre(const void* octets, std::size_t taille)
{
    const auto* suite = static_cast<const unsigned char*>(octets);
    while (taille != 0) {
        std::size_t pas = 0;
        if (_lus < _aLire()) {
            pas = std::min(taille, _aLire() - _lus);
            std::memcpy(_debut.data() + _lus, suite, pas);
            _lus += pas;
            if (_lus == _aLire() && !_examiner())
                return false;
        } else {
            pas = std::min(taille, _taille - _lus);
            _lus += pas;
        }
        suite += pas;
        taille -= pas;
        if (_lus >= ENTETE && _lus == _taille) {
            _lus = _taille = 0;
            ++_messages;
        }
    }
    return true;
}

std::size_t Cadrage::_aLire() const { return _taille == 0 ? ENTETE : std::min(DEBUT, _taille); }

bool Cadrage::_examiner()
{
    if (_taille == 0 && !_examinerEntete())
        return false;
    return _lus != _aLire() || (_examinerAdresse() && _examinerFragment());
}

bool Cadrage::_examinerEntete()
{
    if (std::memcmp(_debut.data(), "GIOP", 4) != 0 || _debut[VERSION] != 1 || _debut[MINEURE] > 2)
        return false;
    switch (_debut[GENRE]) {
    case REQUEST:
    case CANCEL_REQUEST:
    case LOCATE_REQUEST:
    case CLOSE_CONNECTION:
    case MESSAGE_ERROR:
    case FRAGMENT:
        break;
    default: // an answer: nobody was asked anything here
        return false;
    }
    _taille = ENTETE + static_cast<std::size_t>(_entier(TAILLE));
    return _cumul + _taille <= COURT || _cumul + _taille <= _tailleMax();
}

/// By its key alone: no other way to name an object is in use.
bool Cadrage::_examinerAdresse() const
{
    if (_debut[MINEURE] < 2 || (_debut[GENRE] != REQUEST && _debut[GENRE] != LOCATE_REQUEST))
        return true;
    const std::size_t place = _debut[GENRE] == REQUEST ? NUMERO + 8 : NUMERO + 4;
    return _taille >= place + 2 && _debut[place] == 0 && _debut[place + 1] == 0;
}

bool Cadrage::_examinerFragment()
{
    const bool aSuivre = _debut[MINEURE] != 0 && (_debut[DRAPEAUX] & A_SUIVRE) != 0;
    const bool numerote = _debut[MINEURE] == 2 && _taille >= NUMERO + 4;
    const std::uint32_t numero = numerote ? _entier(NUMERO) : 0;
    const auto ouvert = std::find(_ouverts.begin(), _ouverts.end(), numero);
    const bool estFragment = _debut[GENRE] == FRAGMENT;
    if (estFragment && ouvert == _ouverts.end())
        return false; // of nothing
    if (aSuivre && !estFragment && (ouvert != _ouverts.end() || _ouverts.size() == OUVERTS_MAX))
        return false;
    if (aSuivre && !estFragment)
        _ouverts.push_back(numero);
    else if (!aSuivre && ouvert != _ouverts.end() && (estFragment || _debut[GENRE] == CANCEL_REQUEST))
        _ouverts.erase(ouvert);
    _cumul = _ouverts.empty() ? 0 : _cumul + _taille;
    return true;
}

std::uint32_t Cadrage::_entier(std::size_t place) const
{
    std::uint32_t valeur = 0;
    const bool petitBoutiste = (_debut[DRAPEAUX] & PETIT_BOUTISTE) != 0;
    for (std::size_t i = 0; i < 4; ++i)
        valeur |= static_cast<std::uint32_t>(_debut[place + i]) << 8 * (petitBoutiste ? i : 3 - i);
    return valeur;
}

} // namespace orix::orb
