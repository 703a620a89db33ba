#ifndef LECTUREACTIVATION_H
#define LECTUREACTIVATION_H

#include "orix_baseS.h"

namespace orix {

/// The arguments of an activation, as they come from anybody.
struct LectureActivation
{
    CORBA::String_var service;
    orix_corba::SequenceNiveauReference niveaux;
    orix_corba__Client_var client;
    CORBA::String_var nomORBthread;
    CORBA::String_var machine;

    /// Throws CORBA::MARSHAL, and loses nothing of what was read.
    void lire(cdrStream& flux);
};

/// Reads the answer to one, as it comes from a server, in bounds. Throws CORBA::MARSHAL, likewise.
void lireReponseActivation(cdrStream& flux);

} // namespace orix

#endif
