#ifndef OUVERTUREMAGASIN_H
#define OUVERTUREMAGASIN_H

#include "Magasin.h"

namespace serveur {

/// What a store tells the process that uses it.
struct AnnoncesMagasin
{
    /// Called once, by a thread that uses the store, when it is lost for good. Throws nothing.
    std::function<void()> surPerte = [] {};
    /// The store cannot be opened yet, for that reason, which is one line with its name: called at every try,
    /// some in a second. Whether to wait longer.
    std::function<bool(const std::string& pourquoi)> surAttente = [](const std::string&) { return false; };
};

/// Opens the store of that name, creates it when there is none. Throws ErreurMagasin.
std::unique_ptr<Magasin> ouvrirMagasin(const std::string& base, const AnnoncesMagasin& annonces);

} // namespace serveur

#endif
