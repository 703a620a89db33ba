#ifndef TAMPONFD_H
#define TAMPONFD_H

#include "orix/INonCopiable.h"

#include <array>
#include <cstdint>
#include <exception>
#include <streambuf>

namespace outils {

/// Whoever read our output has gone.
class LecteurParti : public std::exception
{
  public:
    const char* what() const noexcept override { return "le lecteur est parti"; }
};

/// Reading was given up; what had been read of a line is lost.
class LectureInterrompue : public std::exception
{
  public:
    const char* what() const noexcept override { return "lecture interrompue"; }
};

/// A stream over a file descriptor, for one direction. Before it reads, the requests that wait for each other
/// leave (orix::EnvoisGroupes). The stream above is to be given exceptions(badbit),
/// else it keeps these for itself: LectureInterrompue, LecteurParti for a broken pipe, Arret with a line for
/// the user for everything else.
class TamponFd : public std::streambuf, orix::INonCopiable
{
  public:
    /// The descriptor stays the caller's. reveil: once this descriptor is readable, reading is given up;
    /// -1: none.
    explicit TamponFd(int descripteur, int reveil = -1);

    std::uint64_t octetsLus() const { return _lus; }

  protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    int sync() override;

  private:
    const int _descripteur;
    const int _reveil;
    std::uint64_t _lus = 0;
    std::array<char, 1 << 16> _tampon;
};

} // namespace outils

#endif
