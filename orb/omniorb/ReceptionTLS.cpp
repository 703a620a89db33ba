#include "ReceptionTLS.h"

#include <omniORB4/sslContext.h>
#include <openssl/ssl.h>
#include <poll.h>

#include <cstring>

namespace orix::orb {

namespace {

/// Whether a part of a record, or a record that was not read to its end, is here.
bool aCommence(const SSL* ssl)
{
    return SSL_has_pending(ssl) != 0 || std::strcmp(SSL_rstate_string(ssl), "RB") == 0; // its body is awaited
}

/// Until something comes, or the time limit: false then. Zero: none.
bool attendreOctets(int prise, const omni_time_t& limite)
{
    for (;;) {
        int delai = -1;
        if (limite) {
            omni_time_t maintenant;
            omni_thread::get_time(maintenant);
            if (limite <= maintenant)
                return false;
            const omni_time_t reste = limite - maintenant;
            delai = static_cast<int>(reste.s * 1000 + reste.ns / 1000000) + 1;
        }
        pollfd attente{prise, POLLIN, 0};
        if (::poll(&attente, 1, delai) != 0)
            return true; // or an error, which the reading finds
    }
}

} // namespace

int recevoirEnregistrement(omni::giopConnection& connexion, void* octets, std::size_t taille,
                           const omni_time_t& limite, std::chrono::milliseconds delai)
{
    auto* const pair = static_cast<sslContext::PeerDetails*>(connexion.peerdetails()); // of TLS alone
    if (pair == nullptr)
        return connexion.Recv(octets, taille, limite);
    SSL* const ssl = pair->ssl();
    for (;;) {
        if (!aCommence(ssl) && !attendreOctets(SSL_get_fd(ssl), limite))
            return 0;
        omni_time_t borne;
        const auto ms = static_cast<unsigned long>(delai.count());
        omni_thread::get_time(borne, omni_time_t(ms / 1000, ms % 1000 * 1000000));
        const bool sienne = limite && limite < borne;
        const int lus = connexion.Recv(octets, taille, sienne ? limite : borne);
        if (lus != 0 || sienne)
            return lus;
        if (aCommence(ssl))
            return -1; // by half; else it was a message of TLS's own
    }
}

} // namespace orix::orb
