// What peers and records put into traces: whatever the texts are, they make one line, which may be shown and
// is not endless; as JSON they may be shown too, and are read again as they were.
#include "JournalTrace.h"
#include "orix/TexteSur.h"
#include "orix/Trace.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::size_t LIGNE_MAX = 8192;

int sortie[2]; // a pipe: what the log writes is read back

void exiger(bool vrai)
{
    if (!vrai)
        std::abort();
}

/// One line at most, on which nothing moves.
void exigerMontrable(const std::string& texte)
{
    std::vector<wchar_t> caracteres(texte.size() + 1);
    const std::size_t nombre = std::mbstowcs(caracteres.data(), texte.c_str(), caracteres.size());
    exiger(nombre != static_cast<std::size_t>(-1) && texte.find('\0') == std::string::npos);
    for (std::size_t i = 0; i < nombre; ++i) {
        const wchar_t c = caracteres[i];
        exiger(c >= 0x20 && (c < 0x7F || c > 0x9F));
        exiger((c < 0x202A || c > 0x202E) && (c < 0x2066 || c > 0x2069));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    exiger(std::setlocale(LC_ALL, "C.UTF-8") != nullptr && pipe2(sortie, O_NONBLOCK) == 0);
    orix::journal::ouvrir("/proc/self/fd/" + std::to_string(sortie[1]), 0);
    orix::Trace::definirSeuil(orix::NTO_NOTABLE);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    const std::string texte(reinterpret_cast<const char*>(octets), taille);
    std::string message;
    for (int i = 0; taille != 0 && i < octets[0]; ++i) // longer than an input
        message += texte;
    orix::trace()->tracer(orix::NTO_NOTABLE, texte.substr(0, taille / 4), texte.substr(taille / 2), 1,
                          message);

    char lus[2 * LIGNE_MAX];
    const ssize_t nombre = read(sortie[0], lus, sizeof lus);
    exiger(nombre > 0 && nombre <= static_cast<ssize_t>(LIGNE_MAX) && lus[nombre - 1] == '\n');
    const std::string ligne(lus, static_cast<std::size_t>(nombre) - 1);
    exigerMontrable(ligne);
    exiger(orix::texteSur(ligne) == ligne);

    using nlohmann::json;
    const std::string ecrit = json(texte).dump(-1, ' ', false, json::error_handler_t::replace);
    const std::string montre = orix::jsonSur(ecrit);
    exigerMontrable(montre);
    exiger(json::parse(montre) == json::parse(ecrit));
    return 0;
}
