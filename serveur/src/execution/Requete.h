#ifndef REQUETE_H
#define REQUETE_H

#include "Magasin.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace serveur {

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
    std::size_t octets() const
    {
        return _octets;
    } ///< of memory, that its requests took when they were put in
    Requete& premiere() { return *_premiere; }
    static Requete* suivante(const Requete& requete) { return requete._suivante.get(); } ///< null: none

    void ajouter(std::unique_ptr<Requete> requete) noexcept
    {
        Requete* const derniere = requete.get();
        derniere->_octets = sizeof(Requete) + derniere->vol->octets();
        _octets += derniere->_octets;
        (_derniere != nullptr ? _derniere->_suivante : _premiere) = std::move(requete);
        _derniere = derniere;
    }
    void ajouter(Chaine&& autre) noexcept ///< behind
    {
        if (autre.vide())
            return;
        (_derniere != nullptr ? _derniere->_suivante : _premiere) = std::move(autre._premiere);
        _derniere = std::exchange(autre._derniere, nullptr);
        _octets += std::exchange(autre._octets, 0);
    }
    std::unique_ptr<Requete> prendre() noexcept ///< the first; null when there is none
    {
        std::unique_ptr<Requete> requete = std::move(_premiere);
        if (requete == nullptr)
            return requete;
        _premiere = std::move(requete->_suivante);
        if (_premiere == nullptr)
            _derniere = nullptr;
        _octets -= requete->_octets;
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
    std::size_t _octets = 0;
};

} // namespace serveur

#endif
