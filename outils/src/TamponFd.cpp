#include "TamponFd.h"

#include "Francais.h"
#include "Statut.h"

#include "orix/EnvoisGroupes.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace outils {

TamponFd::TamponFd(int descripteur, int reveil) : _descripteur(descripteur), _reveil(reveil)
{
    setp(_tampon.data(), _tampon.data() + _tampon.size());
}

TamponFd::int_type TamponFd::underflow()
{
    ssize_t lus = 0;
    orix::EnvoisGroupes::envoyer(); // what was made of what was read does not wait for more of it
    do {
        if (_reveil >= 0) {
            pollfd attendus[] = {{_descripteur, POLLIN, 0}, {_reveil, POLLIN, 0}};
            if (poll(attendus, 2, -1) > 0 && attendus[1].revents != 0)
                throw LectureInterrompue();
        }
        lus = read(_descripteur, _tampon.data(), _tampon.size());
    } while (lus < 0 && (errno == EINTR || errno == EAGAIN));
    if (lus < 0)
        throw Arret(USAGE, std::string("lecture impossible : ") + raisonSysteme(errno));
    if (lus == 0)
        return traits_type::eof();
    _lus += static_cast<std::uint64_t>(lus);
    setg(_tampon.data(), _tampon.data(), _tampon.data() + lus);
    return traits_type::to_int_type(*gptr());
}

TamponFd::int_type TamponFd::overflow(int_type c)
{
    sync();
    if (!traits_type::eq_int_type(c, traits_type::eof()))
        sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

int TamponFd::sync()
{
    const char* debut = pbase();
    const char* const fin = pptr();
    // Emptied first: what could not be written is not tried again.
    setp(_tampon.data(), _tampon.data() + _tampon.size());
    while (debut < fin) {
        const ssize_t ecrits = write(_descripteur, debut, static_cast<std::size_t>(fin - debut));
        if (ecrits >= 0)
            debut += ecrits;
        else if (errno == EPIPE)
            throw LecteurParti();
        else if (errno != EINTR)
            throw Arret(USAGE, std::string("écriture impossible : ") + raisonSysteme(errno));
    }
    return 0;
}

} // namespace outils
