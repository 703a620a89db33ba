#ifndef VUEVOLCOMPLET_H
#define VUEVOLCOMPLET_H

#include "OXvol_completDataC.h"

#include "orix/INonCopiable.h"

#include <memory>

class OXvol_completData;

/// The wire form of a record for as long as a send takes: it borrows the record's texts instead of copying
/// them, and gives them back at its end, also when the send throws. What travels, and what is traced, is the
/// same as with OXvol_completData::construireObjetSpecifique_v3_0_0().
///
/// The record must outlive it and not change meanwhile. Thread: created and destroyed on the same one, in the
/// reverse order of creation when there are several. Throws std::bad_alloc.
class VueVolComplet : orix::INonCopiable
{
  public:
    explicit VueVolComplet(const OXvol_completData& vol);
    ~VueVolComplet();

    const OXvol_completData_v3_0_0& lire() const { return *_objet; }

  private:
    void _rendre() noexcept;

    std::unique_ptr<OXvol_completData_v3_0_0> _propre; ///< null: the object is the thread's own
    OXvol_completData_v3_0_0* _objet = nullptr;
};

#endif
