#ifndef ORIX_ENUMERER_H
#define ORIX_ENUMERER_H

#include <string>

namespace orix {

/// What forme makes of each element, separated by ", ".
template <class Elements, class Forme>
std::string enumerer(const Elements& elements, Forme forme)
{
    std::string liste;
    for (const auto& element : elements)
        liste += (liste.empty() ? "" : ", ") + forme(element);
    return liste;
}

/// The same of texts as they are.
template <class Textes>
std::string enumerer(const Textes& textes)
{
    return enumerer(textes, [](const std::string& texte) -> const std::string& { return texte; });
}

} // namespace orix

#endif
