#ifndef ORIX_BLOC_H
#define ORIX_BLOC_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace orix {

// What the parts of a record end by: what is in its block ends with the block, and is not released alone.

inline bool estDans(const void* cela, const void* debut, const void* fin) noexcept
{
    const auto adresse = [](const void* ici) { return reinterpret_cast<std::uintptr_t>(ici); };
    return adresse(cela) - adresse(debut) < adresse(fin) - adresse(debut);
}

/// Releases the text, which is of array new unless it is in the block. Null is nothing.
inline void relacherDe(char* texte, const void* debut, const void* fin) noexcept
{
    if (texte != nullptr && !estDans(texte, debut, fin))
        delete[] texte;
}

/// The same for an object, which is of new, and ends in any case.
template <class Objet>
void relacherDe(Objet* objet, const void* debut, const void* fin) noexcept
{
    if (objet == nullptr)
        return;
    if (!estDans(objet, debut, fin))
        delete objet;
    else
        objet->~Objet();
}

/// The block of a record to be: objects in front, then texts. First all of it is added, by ajouter() and
/// reserver(); then it is lodged; then the record takes its parts in the order in which they were added.
/// At most N texts, set or not; what is added lives until it is lodged.
template <int N>
class Bloc
{
  public:
    void ajouter(const char* texte) noexcept ///< null: not set
    {
        ajouter(texte != nullptr ? std::string_view(texte, std::strlen(texte) + 1) : std::string_view());
    }
    void ajouter(std::string_view texte) noexcept ///< with its NUL; null data: not set
    {
        _textes[_nombre] = texte.data();
        _tailles[_nombre++] = texte.size();
        _octets += texte.size();
    }
    template <class Objet>
    void reserver() noexcept
    {
        static_assert(alignof(Objet) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "a block is of array new");
        _objets = _aligner<Objet>(_objets) + sizeof(Objet);
    }

    /// Allocates the block, for the caller to release with array delete, and copies the texts; null when it
    /// is empty. Throws std::bad_alloc.
    void loger(char*& debut, const char*& fin)
    {
        if (_objets + _octets == 0)
            return;
        _debut = debut = new char[_objets + _octets];
        fin = debut + _objets + _octets;
        char* place = debut + _objets;
        for (int i = 0; i < _nombre; ++i) {
            if (_textes[i] == nullptr)
                continue;
            std::memcpy(place, _textes[i], _tailles[i]);
            _textes[i] = std::exchange(place, place + _tailles[i]);
        }
        _objets = 0;
    }

    char* texte() noexcept { return const_cast<char*>(_textes[_pris++]); } ///< null: not set
    template <class Objet, class Source>
    Objet* objet(const Source& source)
    {
        const std::size_t place = _aligner<Objet>(_objets);
        auto* const objet = ::new (_debut + place) Objet(source);
        _objets = place + sizeof(Objet);
        return objet;
    }

  private:
    template <class Objet>
    static constexpr std::size_t _aligner(std::size_t place) noexcept
    {
        return (place + alignof(Objet) - 1) / alignof(Objet) * alignof(Objet);
    }

    const char* _textes[N]; // where each is
    std::size_t _tailles[N];
    int _nombre = 0;
    int _pris = 0;
    char* _debut = nullptr;
    std::size_t _objets = 0; // octets: of all, then of those that are made
    std::size_t _octets = 0; // of texts
};

} // namespace orix

#endif
