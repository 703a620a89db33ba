#ifndef EXECUTABLE_H
#define EXECUTABLE_H

#include "orix/INonCopiable.h"
#include "orix/Trace.h"
#include "orix/interne/IExecutable.h"

namespace orix {

/// Deferred calls of a free function P with the arguments T1..T3, kept by value. An owning pointer among them
/// (SmartPtr, SmartTab) keeps what it owns until the functor is destroyed: the function must neither release
/// it nor keep it.
template <class P, class T1>
class FoncteurExecutable1 : public IExecutable, INonCopiable
{
  public:
    FoncteurExecutable1(P fonction, T1 argument1) : _fonction(fonction), _argument1(argument1) {}

    void executer() override { _fonction(_argument1); }

  private:
    P _fonction;
    T1 _argument1;
};

template <class P, class T1, class T2>
class FoncteurExecutable2 : public IExecutable, INonCopiable
{
  public:
    FoncteurExecutable2(P fonction, T1 argument1, T2 argument2)
        : _fonction(fonction), _argument1(argument1), _argument2(argument2)
    {}

    void executer() override { _fonction(_argument1, _argument2); }

  private:
    P _fonction;
    T1 _argument1;
    T2 _argument2;
};

template <class P, class T1, class T2, class T3>
class FoncteurExecutable3 : public IExecutable, INonCopiable
{
  public:
    FoncteurExecutable3(P fonction, T1 argument1, T2 argument2, T3 argument3)
        : _fonction(fonction), _argument1(argument1), _argument2(argument2), _argument3(argument3)
    {
        ORIX_TRACE(NTO_PROGRES, "Executable", __PRETTY_FUNCTION__, "Entrée/Sortie.");
    }
    ~FoncteurExecutable3() override
    {
        ORIX_TRACE_SANS_ECHEC(NTO_PROGRES, "Executable", __PRETTY_FUNCTION__, "Entrée/Sortie.");
    }

    void executer() override { _fonction(_argument1, _argument2, _argument3); }

  private:
    P _fonction;
    T1 _argument1;
    T2 _argument2;
    T3 _argument3;
};

/// A new deferred call, to be given to an executor. Throws std::bad_alloc; what the arguments own is then
/// released.
template <class P, class T1>
FoncteurExecutable1<P, T1>* creerFoncteurExecutable(P fonction, T1 argument1)
{
    return new FoncteurExecutable1<P, T1>(fonction, argument1);
}

template <class P, class T1, class T2>
FoncteurExecutable2<P, T1, T2>* creerFoncteurExecutable(P fonction, T1 argument1, T2 argument2)
{
    return new FoncteurExecutable2<P, T1, T2>(fonction, argument1, argument2);
}

template <class P, class T1, class T2, class T3>
FoncteurExecutable3<P, T1, T2, T3>* creerFoncteurExecutable(P fonction, T1 argument1, T2 argument2,
                                                            T3 argument3)
{
    using Foncteur = FoncteurExecutable3<P, T1, T2, T3>;
    ORIX_TRACE(NTO_PROGRES, "Executable", __PRETTY_FUNCTION__, "sizeof = " << sizeof(Foncteur));
    return new Foncteur(fonction, argument1, argument2, argument3);
}

} // namespace orix

#endif
