#ifndef NOYAUIMPLEMENTATION_H
#define NOYAUIMPLEMENTATION_H

#include "Fil.h"
#include "TableInformationsConnexionsImplementation.h"
#include "orix/interne/Noyau.h"
#include "orix/interne/ParametresActivationService.h"
#include "orix/interne/Perpetuel.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace orix {

class NoyauImplementation final : public Noyau
{
  public:
    static NoyauImplementation& instance();

    int lireEtat() const noexcept override { return _etat.load(); }
    ORBthread* lirePointAcces() override;
    void activerClient(const std::string& nomService, IAdaptateurClient* adaptateur) override;
    void desactiverClient(const std::string& nomService) override;
    TableInformationsConnexions* lireTableConnexions() override { return &_table; }
    int enregistrerParametres(ParametresActivationService* parametres) override;
    void supprimerParametres(int numeroOperation) override;
    void supprimerReference(CORBA::Object_ptr reference) noexcept override;
    void oublierAdaptateur(IAdaptateurClient* adaptateur) noexcept override;

    /// For whoever starts and stops the process.
    void demarrer(ORBthread* pointAcces, std::chrono::milliseconds delaiActivation);
    void ecrireEtat(EtatNoyau etat) noexcept { _etat.store(etat); }
    /// Accepts no more activations; tells the adapters that wait for an answer, and those that are connected.
    /// False when a delivery was still going on at the end of the delay.
    bool arreter(std::chrono::milliseconds delai);
    void oublierPointAcces() noexcept { _pointAcces.store(nullptr); }

    /// Ends a pending activation by this notification of its adapter, a function of IAdaptateurClient&. False
    /// when the activation is not pending any more: its adapter has been told, or must not be. What the
    /// notification throws is traced. Takes no memory.
    template <class Notification>
    bool conclure(int numeroOperation, Notification notification)
    {
        return _conclure(numeroOperation, JAMAIS, Nature::fin, std::ref(notification));
    }
    /// The same for the server's answer, which may leave the adapter waiting: the activation then ends by its
    /// time-out.
    template <class Notification>
    bool conclureReponse(int numeroOperation, Notification notification)
    {
        return _conclure(numeroOperation, JAMAIS, Nature::reponse, std::ref(notification));
    }

    /// The server that answers a pending activation has its service there, in the words of
    /// orb::identiteAppele(): what comes from there is the server's too.
    void noterService(int numeroOperation, const std::string& identite);

    /// Number of the adapter's registration as a client; 0 when it has none. Every registration has a new
    /// number.
    unsigned long lireInscription(const IAdaptateurClient* adaptateur) const;
    void retirerInscription(unsigned long inscription);
    /// The names under which the adapter is registered as a client.
    std::vector<std::string> lireServices(const IAdaptateurClient* adaptateur) const;

  private:
    friend class Perpetuel<NoyauImplementation>;
    NoyauImplementation() = default;

    using Instant = Veilleur::Instant;
    static constexpr Instant JAMAIS = Veilleur::JAMAIS;

    struct Activation
    {
        std::unique_ptr<ParametresActivationService> parametres;
        Instant echeance;
    };
    struct Client
    {
        IAdaptateurClient* adaptateur;
        unsigned long inscription;
    };

    enum class Nature
    {
        reponse,
        fin
    };

    /// limite: of the wait for another delivery to the same adapter; false when it was reached.
    bool _conclure(int numeroOperation, Instant limite, Nature nature,
                   const std::function<void(IAdaptateurClient&)>& notification);
    bool _estEnSuspens(const IAdaptateurClient* adaptateur) const;
    Instant _passer();
    void _retirerReference(int numeroOperation) noexcept;
    bool _abandonnerActivations(Instant limite);
    bool _deconnecterClients(Instant limite);

    std::atomic<int> _etat{NOYAU_NON_INITIALISE};
    std::atomic<ORBthread*> _pointAcces{nullptr}; // lives to the end of the process
    TableInformationsConnexionsImplementation _table;
    Veilleur _veilleur; // ends the activations that are not answered in time

    mutable std::mutex _mutex; // guards what follows; never held during a call of an adapter
    bool _ouvert = false;      // accepts activations
    std::chrono::milliseconds _delaiActivation{};
    int _dernierNumero = 0;
    unsigned long _derniereInscription = 0;
    std::map<int, Activation> _activations;
    std::map<std::string, Client> _clients;
};

} // namespace orix

#endif
