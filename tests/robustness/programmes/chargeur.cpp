// A process that knows the library only through a module loaded at run time:  chargeur URL MODULE WAY
// "abandon": closes the module under way; "goOn": and opens it again, to find everything as it was;
// "orderly": ends the client first; it is not the first module.
#include "ordre.h"

#include <dlfcn.h>
#include <stdexcept>
#include <string>

namespace {

class Module
{
  public:
    explicit Module(const char* chemin) : _module(dlopen(chemin, RTLD_NOW | RTLD_LOCAL))
    {
        if (_module == nullptr)
            throw std::runtime_error(dlerror());
    }
    ~Module() { dlclose(_module); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    template <class Fonction>
    Fonction* trouver(const char* nom) const
    {
        return reinterpret_cast<Fonction*>(dlsym(_module, nom));
    }

  private:
    void* _module;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    const sigset_t signaux = ordre::reserver();
    const std::string maniere = argv[3];
    const bool ordonne = maniere == "orderly";
    for (int reste = ordonne ? 2 : 0; reste >= 0; --reste) {
        const Module module(argv[2]);
        module.trouver<void(const char*)>("etablirTrafic")(argv[1]);
        if (reste == 0)
            ordre::attendre(signaux);
        if (ordonne)
            if (const int statut = module.trouver<int()>("arreterTrafic")())
                return statut;
    }
    if (maniere == "goOn") {
        const Module module(argv[2]);
        module.trouver<void()>("attendreReponses")();
        return module.trouver<int()>("arreterTrafic")();
    }
    return 0;
}
