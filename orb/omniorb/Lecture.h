#ifndef LECTURE_H
#define LECTURE_H

#include "EntetesORB.h"

#include <cstddef>

class omniCallHandle;
class omniServant;

/// Reading of what anybody may send. Where the ORB would lose the memory of what it was reading, when that
/// turns out wrong, this does not. All of it throws CORBA::MARSHAL for what is wrong or too long.
namespace orix::orb {

constexpr std::size_t TEXTE_MAX = 4096; ///< octets of a text that is not converted

/// Whether the ORB reads what is being read once more, as it is: what it would find wrong then is refused.
enum class Relecture
{
    non,
    parLORB
};

/// An object reference: nil, or one whose profiles, of those that this ORB knows, are right. Releases
/// nothing: the caller owns it.
#pragma GCC visibility push(default)
CORBA::Object_ptr lireReference(cdrStream& flux, Relecture relecture = Relecture::non);

/// A text of any process, without conversion.
CORBA::String_var lireTexteBrut(cdrStream& flux, std::size_t max = TEXTE_MAX);

/// Answers the request "_is_a".
void repondreEstUn(omniServant& servant, omniCallHandle& appel);

/// To be called once the object of the request is found. The ORB keeps a long key in memory that it replaces
/// at the next request; what it frees then, and cannot allocate again, it would free twice.
void oublierCle(omniCallHandle& appel) noexcept;

/// Notes that the request is a wrong one: its connection ends.
void signalerFausse(omniCallHandle& appel);
#pragma GCC visibility pop

} // namespace orix::orb

#endif
