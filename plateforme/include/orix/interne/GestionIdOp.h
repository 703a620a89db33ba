#ifndef ORIX_GESTIONIDOP_H
#define ORIX_GESTIONIDOP_H

#include "orix/INonCopiable.h"

#include <atomic>

namespace orix {

/// Source of operation numbers: 1, 2, 3, ... each given once. After 2^31 - 1 it starts again at 1.
/// Safe for concurrent callers.
class GestionIdOp : INonCopiable
{
  public:
    int obtenirIdOp() noexcept
    {
        return static_cast<int>(_suivant.fetch_add(1, std::memory_order_relaxed) % 0x7FFFFFFFu) + 1;
    }

  private:
    std::atomic<unsigned long long> _suivant{0};
};

} // namespace orix

#endif
