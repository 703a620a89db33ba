#include "OXcdvCliDoublure.h"

#include <atomic>

namespace orix {

namespace {
std::atomic<OXcdvCliDoublure*> courante{nullptr};
} // namespace

OXcdvCliTemps::~OXcdvCliTemps() = default;
OXcdvCliDoublure::~OXcdvCliDoublure() = default;

void doublerOXcdvCliItf(OXcdvCliDoublure* doublure) noexcept { courante = doublure; }

OXcdvCliDoublure* lireDoublureOXcdvCliItf() noexcept { return courante.load(std::memory_order_acquire); }

} // namespace orix
