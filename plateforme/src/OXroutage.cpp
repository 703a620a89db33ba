#include "orix/interne/OXroutage.h"

#include "OXroutageImplementation.h"
#include "orix/interne/Echec.h"
#include "orix/interne/Perpetuel.h"

#include <atomic>

namespace orix {

namespace {

using Table = std::map<std::string, std::vector<std::string>>;

class OXroutageImplementation final : public OXroutage
{
  public:
    int lireNombreServeurs(const std::string& nomService) const override
    {
        return static_cast<int>(_urls(nomService).size());
    }
    std::string lireURLnoyau(const std::string& nomService, IdServeur serveur) const override
    {
        const std::vector<std::string>& urls = _urls(nomService);
        const auto indice = static_cast<std::size_t>(serveur);
        if (indice >= urls.size())
            throw Echec(OXS_SERVEUR_INEXISTANT);
        return urls[indice];
    }

    std::atomic<const Table*> table{nullptr};

  private:
    const std::vector<std::string>& _urls(const std::string& nomService) const
    {
        static const Perpetuel<std::vector<std::string>> AUCUNE;
        const Table* courante = table.load();
        if (courante == nullptr)
            return *AUCUNE;
        const auto trouvee = courante->find(nomService);
        return trouvee == courante->end() ? *AUCUNE : trouvee->second;
    }
};

OXroutageImplementation& instance()
{
    static const Perpetuel<OXroutageImplementation> routage;
    return *routage;
}

} // namespace

OXroutage* oxRoutage() { return &instance(); }

void routage::definir(const Table* table) noexcept { instance().table.store(table); }

} // namespace orix
