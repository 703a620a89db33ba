// The configuration file: whatever it holds, it gives settings that make sense, or one line that says why
// not.
#include "orix/Configuration.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t taille)
{
    try {
        const auto configuration = orix::Configuration::analyser(
            std::string(reinterpret_cast<const char*>(octets), taille), "fichier");
        configuration.verifier("fichier");
    } catch (const orix::ErreurConfiguration& erreur) {
        const std::string ligne = erreur.what();
        if (ligne.compare(0, 7, "fichier") != 0 || ligne.find_first_of("\n\r") != std::string::npos)
            std::abort();
    }
    return 0;
}
