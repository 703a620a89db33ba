#include "LectureActivation.h"

#include "Lecture.h"

#include <initializer_list>

namespace orix {

namespace {

constexpr CORBA::ULong NIVEAUX_MAX = 16; // versions that a client speaks

char* lireTexte(cdrStream& flux) { return flux.unmarshalString(0); }

} // namespace

void LectureActivation::lire(cdrStream& flux)
{
    service = lireTexte(flux);
    CORBA::ULong nombre = 0;
    nombre <<= flux;
    if (nombre > NIVEAUX_MAX)
        throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO);
    niveaux.length(nombre);
    for (CORBA::ULong i = 0; i < nombre; ++i) {
        orix_corba::NiveauReference& niveau = niveaux[i];
        for (CORBA::Long* numero : {&niveau.majeur, &niveau.mineur, &niveau.correctif, &niveau.construction})
            *numero <<= flux;
        niveau.reference = orb::lireReference(flux);
    }
    const CORBA::Object_var objet = orb::lireReference(flux);
    client = orix_corba__Client::_unchecked_narrow(objet);
    nomORBthread = lireTexte(flux);
    machine = lireTexte(flux);
}

void lireReponseActivation(cdrStream& flux)
{
    CORBA::Long nombre = 0;
    nombre <<= flux; // the status
    for (int texte = 0; texte < 2; ++texte)
        const CORBA::String_var lu = lireTexte(flux);
    for (int partie = 0; partie < 4; ++partie)
        nombre <<= flux;
    const CORBA::Object_var objet = orb::lireReference(flux, orb::Relecture::parLORB);
    nombre <<= flux;
}

} // namespace orix
