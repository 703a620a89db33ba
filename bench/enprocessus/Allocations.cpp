#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long t_allocations = 0;

void* allouer(std::size_t taille) noexcept
{
    ++t_allocations;
    return std::malloc(taille);
}

void* allouerOuLancer(std::size_t taille)
{
    if (void* const bloc = allouer(taille))
        return bloc;
    throw std::bad_alloc();
}

} // namespace

long bench::allocations() { return t_allocations; }

// Every form: under a sanitizer, those left out would not come to these.
void* operator new(std::size_t taille) { return allouerOuLancer(taille); }
void* operator new[](std::size_t taille) { return allouerOuLancer(taille); }
void* operator new(std::size_t taille, const std::nothrow_t&) noexcept { return allouer(taille); }
void* operator new[](std::size_t taille, const std::nothrow_t&) noexcept { return allouer(taille); }

void operator delete(void* bloc) noexcept { std::free(bloc); }
void operator delete[](void* bloc) noexcept { std::free(bloc); }
void operator delete(void* bloc, std::size_t) noexcept { std::free(bloc); }
void operator delete[](void* bloc, std::size_t) noexcept { std::free(bloc); }
void operator delete(void* bloc, const std::nothrow_t&) noexcept { std::free(bloc); }
void operator delete[](void* bloc, const std::nothrow_t&) noexcept { std::free(bloc); }
