#ifndef DOSSIERTEMPORAIRE_H
#define DOSSIERTEMPORAIRE_H

#include "Essais.h"
#include "orix/INonCopiable.h"

namespace essais {

/// A folder of its own for a test, removed at the end with what is inside.
class DossierTemporaire : orix::INonCopiable
{
  public:
    DossierTemporaire()
    {
        std::string modele = (std::filesystem::temp_directory_path() / "oxcdv-XXXXXX").string();
        if (mkdtemp(modele.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        _chemin = modele;
    }
    ~DossierTemporaire()
    {
        std::error_code ignoree;
        std::filesystem::remove_all(_chemin, ignoree);
    }

    std::string fichier(const std::string& nom) const { return (_chemin / nom).string(); }

  private:
    std::filesystem::path _chemin;
};

} // namespace essais

#endif
