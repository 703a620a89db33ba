#ifndef OXCDVCLICODE_H
#define OXCDVCLICODE_H

/// What the server answers to a request: the code that the callbacks of OXcdvCliCB receive.
namespace cdv::code {

/// The codes of cdv-serveur; another server may have others.
enum Code : int
{
    FAIT = 0,          ///< it is done, and durable
    EXISTE_DEJA = 1,   ///< a creation: there is a record of that identifier already
    INTROUVABLE = 2,   ///< a change, a deletion, a consultation: there is none
    VOL_INVALIDE = 3,  ///< the record has no identifier, or an empty one
    ECHEC_MAGASIN = 4, ///< the server's store failed: nothing was done
    INTERDIT = 5       ///< the client has no right to that (the server's [acces]): nothing was done
};

/// A few words; null for a code that is none of these.
inline const char* texte(int code) noexcept
{
    switch (code) {
    case FAIT:
        return "done";
    case EXISTE_DEJA:
        return "it already exists";
    case INTROUVABLE:
        return "no such record";
    case VOL_INVALIDE:
        return "invalid record";
    case ECHEC_MAGASIN:
        return "the server's store failed";
    case INTERDIT:
        return "not allowed to this client";
    default:
        return nullptr;
    }
}

} // namespace cdv::code

#endif
