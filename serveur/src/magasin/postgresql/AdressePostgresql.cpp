#include "AdressePostgresql.h"

#include "Magasin.h"

#include <libpq-fe.h>

#include <algorithm>
#include <charconv>
#include <map>

namespace serveur {

namespace {

using Parametres = std::map<std::string, std::string>;

constexpr const char* PREFIXES[] = {"postgresql://", "postgres://"};

[[noreturn]] void refuser()
{
    throw ErreurMagasin(
        "adresse PostgreSQL mal formée : "
        "postgresql://[UTILISATEUR@]HOTE[:PORT][,HOTE[:PORT]]/BASE[?PARAMETRE=VALEUR] attendu, "
        "« @ », « : » et « / » d'un nom s'écrivant %40, %3A et %2F");
}

Parametres analyser(const std::string& uri)
{
    struct Liberation
    {
        void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
    };
    char* erreur = nullptr; // tells parts of the URI
    const std::unique_ptr<PQconninfoOption, Liberation> options(PQconninfoParse(uri.c_str(), &erreur));
    PQfreemem(erreur);
    if (options == nullptr)
        refuser();
    Parametres parametres;
    for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option)
        if (option->val != nullptr)
            parametres[option->keyword] = option->val;
    return parametres;
}

std::vector<std::string> separer(const std::string& liste)
{
    std::vector<std::string> elements(1);
    for (const char c : liste)
        if (c == ',')
            elements.emplace_back();
        else
            elements.back() += c;
    return elements;
}

/// Where a password was taken for something else it would be shown.
void verifier(const Parametres& parametres)
{
    for (const char* cle : {"host", "hostaddr", "dbname", "user"}) {
        const auto place = parametres.find(cle);
        if (place != parametres.end() && place->second.find('@') != std::string::npos)
            refuser();
    }
    const auto port = parametres.find("port");
    if (port != parametres.end() && port->second.find_first_not_of("0123456789,") != std::string::npos)
        refuser();
}

/// The URI up to its parameters, without what stands between the user's name and the "@": as libpq takes it
/// apart.
std::string montrable(const std::string& uri)
{
    const std::size_t debut = uri.find("//") + 2;
    const std::size_t arobase = uri.find_first_of("@/", debut);
    std::string compte;
    std::size_t suite = debut;
    if (arobase != std::string::npos && uri[arobase] == '@') {
        compte = uri.substr(debut, std::min(arobase, uri.find(':', debut)) - debut) + "@";
        suite = arobase + 1;
    }
    return uri.substr(0, debut) + compte + uri.substr(suite, uri.find('?', suite) - suite);
}

} // namespace

bool AdressePostgresql::estUneAdresse(const std::string& base)
{
    return std::any_of(std::begin(PREFIXES), std::end(PREFIXES), [&](const std::string& prefixe) {
        return base.compare(0, prefixe.size(), prefixe) == 0;
    });
}

AdressePostgresql::AdressePostgresql(const std::string& uri) : _nom(montrable(uri))
{
    Parametres parametres = analyser(uri);
    verifier(parametres);
    const auto delai = parametres.find("connect_timeout");
    if (delai != parametres.end()) {
        const std::string& texte = delai->second;
        int secondes = 0;
        if (std::from_chars(texte.data(), texte.data() + texte.size(), secondes).ec != std::errc())
            refuser();
        _delaiConnexion = std::chrono::seconds(std::max(1, secondes));
    }
    const auto session = parametres.find("target_session_attrs");
    _veutEcrire = session == parametres.end() || session->second == "read-write";
    if (_veutEcrire)
        parametres.erase("target_session_attrs"); // the connection looks itself, and can say so
    // A member that falls silent is noticed in ten seconds or so.
    for (const auto& [cle, valeur] :
         {std::pair("keepalives_idle", "5"), std::pair("keepalives_interval", "2"),
          std::pair("keepalives_count", "3"), std::pair("tcp_user_timeout", "10000"),
          std::pair("fallback_application_name", "cdv-serveur")})
        parametres.emplace(cle, valeur);

    const std::size_t nombre =
        std::max(separer(parametres["host"]).size(), separer(parametres["hostaddr"]).size());
    for (std::size_t i = 0; i < nombre; ++i) {
        Membre membre;
        for (const auto& [cle, valeur] : parametres) {
            const bool multiple = cle == "host" || cle == "hostaddr" || cle == "port";
            const std::vector<std::string> valeurs =
                multiple ? separer(valeur) : std::vector<std::string>{valeur};
            if (valeurs.size() != 1 && valeurs.size() != nombre)
                refuser();
            const std::string& celle = valeurs.size() == 1 ? valeurs[0] : valeurs[i];
            if (celle.empty())
                continue; // libpq's own default
            membre.cles.push_back(cle);
            membre.valeurs.push_back(celle);
        }
        _membres.push_back(std::move(membre));
    }
}

} // namespace serveur
