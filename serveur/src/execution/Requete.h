#ifndef REQUETE_H
#define REQUETE_H

#include "Magasin.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace serveur {

/// Of requests or answers: how many, and what they take of memory.
struct Compte
{
    std::size_t octets = 0;
    std::size_t nombre = 0;

    Compte& operator+=(const Compte& autre)
    {
        octets += autre.octets;
        nombre += autre.nombre;
        return *this;
    }
    Compte& operator-=(const Compte& autre)
    {
        octets -= autre.octets;
        nombre -= autre.nombre;
        return *this;
    }
};

/// A client's request from its arrival to the sending of its answer, and what tells the client of it: the
/// same object all the way, so that an answer takes no memory.
struct Requete : Demande
{
    enum class Genre
    {
        resultat, ///< of any operation but a listing
        element,  ///< one record of a listing
        finListe
    };

    Requete(Operation operation, FichePartagee vol, int idOp, Genre genre = Genre::resultat)
        : Demande{operation, std::move(vol)}, genre(genre), idOp(idOp)
    {}

    /// Will be answered by the code, in its turn, without being executed.
    void refuser(int code)
    {
        aExecuter = false;
        resultat = code;
    }

    Genre genre;
    int idOp;
    std::chrono::steady_clock::time_point instant; ///< of the arrival, then of the end of the execution
    bool aExecuter = true;
    Parcours parcours; ///< of a listing

  private:
    friend class Chaine;
    std::size_t _octets = 0; // of memory, when it was put into a chain
    std::unique_ptr<Requete> _suivante;
};

/// Requests in order. Neither putting them in nor taking them out takes memory.
class Chaine
{
  public:
    Chaine() = default;
    Chaine(Chaine&& autre) noexcept { ajouter(std::move(autre)); }
    Chaine& operator=(Chaine&& autre) noexcept
    {
        vider();
        ajouter(std::move(autre));
        return *this;
    }
    ~Chaine() { vider(); }

    bool vide() const { return _premiere == nullptr; }
    const Compte& compte() const { return _compte; } ///< the memory is that of when they were put in
    std::size_t octets() const { return _compte.octets; }
    Requete& premiere() { return *_premiere; }
    static Requete* suivante(const Requete& requete) { return requete._suivante.get(); } ///< null: none

    void ajouter(std::unique_ptr<Requete> requete) noexcept
    {
        Requete* const derniere = requete.get();
        derniere->_octets = sizeof(Requete) + derniere->vol->octets();
        _compte += {derniere->_octets, 1};
        (_derniere != nullptr ? _derniere->_suivante : _premiere) = std::move(requete);
        _derniere = derniere;
    }
    void ajouter(Chaine&& autre) noexcept ///< behind
    {
        if (autre.vide())
            return;
        (_derniere != nullptr ? _derniere->_suivante : _premiere) = std::move(autre._premiere);
        _derniere = std::exchange(autre._derniere, nullptr);
        _compte += std::exchange(autre._compte, {});
    }
    std::unique_ptr<Requete> prendre() noexcept ///< the first; null when there is none
    {
        std::unique_ptr<Requete> requete = std::move(_premiere);
        if (requete == nullptr)
            return requete;
        _premiere = std::move(requete->_suivante);
        if (_premiere == nullptr)
            _derniere = nullptr;
        _compte -= {requete->_octets, 1};
        return requete;
    }
    void vider() noexcept
    {
        while (prendre() != nullptr) { // one by one: they may be many
        }
    }

  private:
    std::unique_ptr<Requete> _premiere;
    Requete* _derniere = nullptr;
    Compte _compte;
};

} // namespace serveur

#endif
