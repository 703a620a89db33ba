#ifndef REPONSES_H
#define REPONSES_H

#include "LiaisonORB.h"

namespace omni {
class GIOP_C;
}

namespace orix::orb {

/// Answers to the calls of this process, looked at before the ORB reads them: what it would find wrong, and
/// lose the memory of, ends the call and its connection first.

/// From now on.
void definirReponses(const std::vector<Reponse>& reponses);

/// Reads all of the answer that the ORB has just begun to read, and leaves it where it was. Throws
/// CORBA::MARSHAL.
void examinerReponse(omni::GIOP_C& reponse);

} // namespace orix::orb

#endif
