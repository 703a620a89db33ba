#include "Masque.h"

#include <regex>

std::string essais::masquer(const std::string& texte, const std::string& motif, const std::string& masque)
{
    return std::regex_replace(texte, std::regex(motif), masque);
}
