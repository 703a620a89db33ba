#ifndef POSSESSIONSSL_H
#define POSSESSIONSSL_H

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <memory>

namespace orix::orb {

template <auto liberer>
struct Liberer
{
    template <class T>
    void operator()(T* objet) const
    {
        liberer(objet);
    }
};

/// An object of OpenSSL, and the function that frees it.
template <class T, auto liberer>
using Possession = std::unique_ptr<T, Liberer<liberer>>;

using ContexteSSL = Possession<SSL_CTX, SSL_CTX_free>;
using ExamenSSL = Possession<X509_STORE_CTX, X509_STORE_CTX_free>;

} // namespace orix::orb

#endif
