#ifndef VUEVOLCOMPLET_H
#define VUEVOLCOMPLET_H

#include "OXvol_completDataC.h"

#include "BlocVol.h"
#include "OXvol_completData.h"
#include "orix/INonCopiable.h"

#include <memory>
#include <new>

/// Room for at most N wire objects, each made in place by the conversion of its record.
template <class Fil, int N>
class ObjetsFil : orix::INonCopiable
{
  public:
    ObjetsFil() = default;
    ~ObjetsFil() { std::destroy_n(debut(), _nombre); }

    /// The new object. Null makes one with empty texts.
    template <class Objet>
    Fil* ajouter(const Objet* objet)
    {
        void* const place = _place + sizeof(Fil) * _nombre;
        Fil* const fil = objet != nullptr ? ::new (place) Fil(objet->construireObjetSpecifique_v3_0_0())
                                          : ::new (place) Fil();
        ++_nombre;
        return fil;
    }
    Fil* debut() noexcept { return reinterpret_cast<Fil*>(_place); }

  private:
    alignas(Fil) unsigned char _place[sizeof(Fil) * N];
    int _nombre = 0;
};

/// The wire form of a record for as long as a send takes: it borrows the record's texts instead of copying
/// them, and gives them back at its end, also when the send throws. What its status codes and changed fields
/// say is copied. The record must outlive it and not change meanwhile. Throws std::bad_alloc.
class VueVolComplet : orix::INonCopiable
{
  public:
    /// Stands on the wire for a text that is not set: no string is null there.
    static constexpr char MARQUEUR_NUL[] = "__PtrNULL__";

    explicit VueVolComplet(const OXvol_completData& vol);
    ~VueVolComplet();

    const OXvol_completData_v3_0_0& lire() const { return _objet; }

  private:
    VueVolComplet() = default;

    void _emprunter(const char* texte, CORBA::String_member& fil) noexcept;
    void _emprunter(const OXcode_statData* code, SeqOXcode_statData_v3_0_0& fil);

    OXvol_completData_v3_0_0 _objet;
    // What the sequences of the object show without owning it.
    ObjetsFil<OXcode_statData_v3_0_0, NOMBRE_CODES> _codes;
    ObjetsFil<OXcci_rub_chgtData_v3_0_0, OXvol_completData::MAX_RUB_CHGT> _changements;
    char* _points[OXvol_completData::MAX_POINT];
};

#endif
