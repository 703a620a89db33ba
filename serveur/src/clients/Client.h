#ifndef CLIENT_H
#define CLIENT_H

#include "Depart.h"
#include "LiaisonORB.h"
#include "Ligne.h"

#include "OXcdvServeurVersClientC.h"

#include <functional>
#include <iosfwd>
#include <string>

namespace serveur {

/// An activated client: its line, and where that ends. Any thread.
class Client : public Ligne
{
  public:
    struct Identite
    {
        int numero;
        std::string nom; ///< "PROGRAM[PROCESS]", or anything else
        std::string machine;
        std::string appelant; ///< who activated it, as the transport knows: nobody else may speak for it
        std::string adresse;  ///< that of appelant

        std::string programme() const; ///< the whole name when it has another form
        std::string processus() const; ///< its number; empty then
        /// "12 (cdv[345] sur tour)"
        friend std::ostream& operator<<(std::ostream& flux, const Identite& identite);

      private:
        std::size_t _crochet() const;
    };
    /// Called once on a sender's thread when the sending ends of itself, with what more there is to say of
    /// the reason. Throws nothing.
    using SurFin = std::function<void(int numero, Depart raison, const std::string& precision)>;

    Client(Identite identite, orix_corba::OXcdv_v3_0_0_ServeurVersClient_ptr notifications,
           orix_corba__Client_ptr client, Memoire& memoire, SurFin surFin);

    const Identite& identite() const { return _identite; }
    orix_corba__Client_ptr reference() const { return _client.in(); } ///< stays this object's

    using Instant = std::chrono::steady_clock::time_point;
    Instant naissance() const { return _naissance; } ///< of the activation

    /// A message of the client came in. Returns whether it is the first.
    bool noterActivite() { return _activite++ == 0; }
    unsigned long activite() const { return _activite; } ///< how many came

    /// It answered a ping: behind the references that it gave there is a client. Returns whether it is the
    /// first time.
    bool confirmer() { return !_confirme.exchange(true); }
    bool estConfirme() const { return _confirme; }

  protected:
    void envoyer(const Requete& reponse) override;
    void pousser() override;
    void prendreConge() override;
    void finir(bool echec) noexcept override;

  private:
    const Identite _identite;
    const Instant _naissance = Instant::clock::now();
    const orix::orb::PairConnu _pair{_identite.appelant};
    const orix_corba::OXcdv_v3_0_0_ServeurVersClient_var _notifications;
    const orix_corba__Client_var _client;
    const SurFin _surFin;
    std::atomic<unsigned long> _activite{0};
    std::atomic<bool> _confirme{false};
};

} // namespace serveur

#endif
