#include "orix/OXchaine.h"

#include <cstring>

char* OXdupliqueChaine(const char* chaine)
{
    if (chaine == nullptr)
        return nullptr;
    const std::size_t taille = std::strlen(chaine) + 1;
    return static_cast<char*>(std::memcpy(new char[taille], chaine, taille));
}
