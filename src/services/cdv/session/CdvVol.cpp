#include "CdvVol.h"

#include "ContenuVol.h"
#include "OXvol_completData.h"
#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"

#include <iterator>
#include <unordered_map>
#include <utility>

namespace cdv {

namespace {

using Record = OXvol_completData;

// ---- The fields, as the table of the record has them

struct Descripteur
{
    std::string_view complet; ///< "m_gparking", "m_pcode_stat_depart.code"
    char* Record::*texte;     ///< null for a part of a status code
    OXcode_statData* Record::*code = nullptr;
    char* OXcode_statData::*partie = nullptr;

    constexpr std::string_view court() const { return complet.substr(3); }
};

constexpr Descripteur DESCRIPTEURS[] = {
#define CDV_TEXTE(nom) {"m_" #nom, &Record::m_##nom},
#define CDV_CODE_STAT(nom)                                                                                   \
    {"m_" #nom ".code", nullptr, &Record::m_##nom, &OXcode_statData::m_gcode},                               \
        {"m_" #nom ".libelle", nullptr, &Record::m_##nom, &OXcode_statData::m_glibelle},                     \
        {"m_" #nom ".heure_chgt", nullptr, &Record::m_##nom, &OXcode_statData::m_gheure_chgt},
    OXVOL_COMPLET_CHAMPS(CDV_TEXTE, CDV_CODE_STAT)
#undef CDV_TEXTE
#undef CDV_CODE_STAT
};

const Descripteur& decrire(Champ champ) { return DESCRIPTEURS[static_cast<std::size_t>(champ)]; }

// What is protected in any record: only a derived class may name it.

/// Puts the value, which the record takes over, in the place of another.
template <class Enregistrement>
struct Acces : Enregistrement
{
    template <class T>
    static void remplacer(const Enregistrement& celui, T*& membre, T* valeur) noexcept
    {
        void (Enregistrement::*const relacher)(T*) const noexcept = &Acces::relacher;
        (celui.*relacher)(std::exchange(membre, valeur));
    }
};

struct Listes : Acces<Record>
{
    static void permuter(Record& a, Record& b) noexcept { (a.*(&Listes::echanger))(b); }

    static auto& points(Record& vol) { return vol.*(&Listes::m_tpoint); }
    static auto& nombrePoints(Record& vol) { return vol.*(&Listes::m_npoint); }
    static auto& changements(Record& vol) { return vol.*(&Listes::m_trub_chgt); }
    static auto& nombreChangements(Record& vol) { return vol.*(&Listes::m_nrub_chgt); }

    static auto& points(const Record& vol) { return vol.*(&Listes::m_tpoint); }
    static auto& nombrePoints(const Record& vol) { return vol.*(&Listes::m_npoint); }
    static auto& changements(const Record& vol) { return vol.*(&Listes::m_trub_chgt); }
    static auto& nombreChangements(const Record& vol) { return vol.*(&Listes::m_nrub_chgt); }
};

// ---- Texts

std::optional<std::string_view> vue(const char* texte)
{
    return texte != nullptr ? std::optional<std::string_view>(texte) : std::nullopt;
}

std::string_view texteOuVide(const char* texte) { return texte != nullptr ? texte : std::string_view(); }

char* allouerSiMis(std::optional<std::string_view> texte)
{
    return texte ? allouer(*texte).release() : nullptr;
}

} // namespace

// ---- Life of a value

Vol::Vol() noexcept = default;
Vol::Vol(std::initializer_list<std::pair<std::string_view, std::string_view>> champs)
{
    for (const auto& [nom, valeur] : champs)
        ecrire(nom, valeur);
}
Vol::Vol(const OXvol_completData& source) : _vol(std::make_unique<Record>(source)) {}
Vol::Vol(Vol&& source) noexcept = default;
Vol& Vol::operator=(Vol&& source) noexcept = default;
Vol::~Vol() = default;

Vol Vol::prendre(OXvol_completData& source)
{
    Vol vol;
    Listes::permuter(vol.brut(), source);
    return vol;
}

Vol Vol::copier() const { return _vol ? Vol(*_vol) : Vol(); }

const OXvol_completData& Vol::brut() const
{
    static const Record* const vide = new Record; // as good at the end of the process as before
    return _vol ? *_vol : *vide;
}

OXvol_completData& Vol::brut()
{
    if (!_vol)
        _vol = std::make_unique<Record>();
    return *_vol;
}

// ---- Fields

std::optional<std::string_view> Vol::lire(Champ champ) const noexcept
{
    if (!_vol)
        return std::nullopt;
    // The members, not the readers: those report each unset field in the trace.
    const Descripteur& descripteur = decrire(champ);
    if (descripteur.texte != nullptr)
        return vue((*_vol).*descripteur.texte);
    const OXcode_statData* const code = (*_vol).*descripteur.code;
    return code != nullptr ? vue(code->*descripteur.partie) : std::nullopt;
}

void poser(Record& vol, Champ champ, std::unique_ptr<char[]> valeur)
{
    const Descripteur& descripteur = decrire(champ);
    if (descripteur.texte != nullptr)
        return Listes::remplacer(vol, vol.*descripteur.texte, valeur.release());
    OXcode_statData*& code = vol.*descripteur.code;
    if (code == nullptr) {
        if (!valeur)
            return;
        code = new OXcode_statData;
    }
    Acces<OXcode_statData>::remplacer(*code, code->*descripteur.partie, valeur.release());
    if (code->m_gcode == nullptr && code->m_glibelle == nullptr && code->m_gheure_chgt == nullptr)
        Listes::remplacer<OXcode_statData>(vol, code, nullptr);
}

Vol& Vol::ecrire(Champ champ, std::string_view valeur)
{
    std::unique_ptr<char[]> texte =
        allouer(valeur); // before the old text goes: the value may be a view of it
    poser(brut(), champ, std::move(texte));
    return *this;
}

void poser(Record& vol, std::string_view nom, std::string_view valeur)
{
    poser(vol, Vol::champ(nom), allouer(valeur));
}

Vol& Vol::effacer(Champ champ)
{
    if (_vol)
        poser(*_vol, champ, nullptr);
    return *this;
}

bool Vol::estVide() const noexcept
{
    for (std::size_t i = 0; i < std::size(DESCRIPTEURS); ++i)
        if (lire(static_cast<Champ>(i)))
            return false;
    return nombrePoints() == 0 && nombreChangements() == 0;
}

const std::vector<std::string_view>& Vol::champs()
{
    static const std::vector<std::string_view>* const noms = [] {
        auto* const liste = new std::vector<std::string_view>;
        for (const Descripteur& descripteur : DESCRIPTEURS)
            liste->push_back(descripteur.court());
        return liste;
    }();
    return *noms;
}

std::string_view Vol::nom(Champ champ) { return decrire(champ).court(); }

std::optional<Champ> Vol::chercher(std::string_view nom)
{
    static const auto* const parNom = [] {
        auto* const index = new std::unordered_map<std::string_view, Champ>;
        for (std::size_t i = 0; i < std::size(DESCRIPTEURS); ++i)
            for (const std::size_t prefixe : {0, 2, 3}) // "m_gparking", "gparking", "parking"
                index->emplace(DESCRIPTEURS[i].complet.substr(prefixe), static_cast<Champ>(i));
        return index;
    }();
    const auto trouve = parNom->find(nom);
    return trouve != parNom->end() ? std::optional<Champ>(trouve->second) : std::nullopt;
}

Champ Vol::champ(std::string_view nom)
{
    if (const std::optional<Champ> trouve = chercher(nom))
        return *trouve;
    throw ErreurVol(ErreurVol::Motif::champInconnu, {std::string(nom)});
}

// ---- Lists

std::size_t Vol::nombrePoints() const noexcept
{
    return _vol ? static_cast<std::size_t>(Listes::nombrePoints(std::as_const(*_vol))) : 0;
}

std::string_view Vol::point(std::size_t index) const
{
    if (index >= nombrePoints())
        throw std::out_of_range("route point " + std::to_string(index) + " of " +
                                std::to_string(nombrePoints()));
    return texteOuVide(Listes::points(std::as_const(*_vol))[index]);
}

std::vector<std::string_view> Vol::points() const
{
    std::vector<std::string_view> points;
    for (std::size_t i = 0; i < nombrePoints(); ++i)
        points.push_back(point(i));
    return points;
}

namespace {
template <class Table, class Entree>
void ajouter(Table& table, int& nombre, Entree entree, ErreurVol::Motif pleine)
{
    if (nombre >= static_cast<int>(std::size(table)))
        throw ErreurVol(pleine, {std::to_string(std::size(table))});
    table[nombre++] = entree.release();
}
} // namespace

void ajouter(Record& vol, std::unique_ptr<char[]> point)
{
    ajouter(Listes::points(vol), Listes::nombrePoints(vol), std::move(point), ErreurVol::Motif::tropDePoints);
}

void ajouter(Record& vol, std::unique_ptr<OXcci_rub_chgtData> changement)
{
    ajouter(Listes::changements(vol), Listes::nombreChangements(vol), std::move(changement),
            ErreurVol::Motif::tropDeChangements);
}

Vol& Vol::ajouterPoint(std::string_view point)
{
    ajouter(brut(), allouer(point));
    return *this;
}

Vol& Vol::viderPoints() noexcept
{
    if (_vol)
        for (int& nombre = Listes::nombrePoints(*_vol); nombre > 0;)
            Listes::remplacer<char>(*_vol, Listes::points(*_vol)[--nombre], nullptr);
    return *this;
}

std::size_t Vol::nombreChangements() const noexcept
{
    return _vol ? static_cast<std::size_t>(Listes::nombreChangements(std::as_const(*_vol))) : 0;
}

Changement Vol::changement(std::size_t index) const
{
    if (index >= nombreChangements())
        throw std::out_of_range("changed field " + std::to_string(index) + " of " +
                                std::to_string(nombreChangements()));
    const OXcci_rub_chgtData* const entree = Listes::changements(std::as_const(*_vol))[index];
    if (entree == nullptr)
        return {};
    return {vue(entree->m_grubrique), vue(entree->m_gancienne_valeur), vue(entree->m_gnouvelle_valeur)};
}

std::vector<Changement> Vol::changements() const
{
    std::vector<Changement> changements;
    for (std::size_t i = 0; i < nombreChangements(); ++i)
        changements.push_back(changement(i));
    return changements;
}

Vol& Vol::ajouterChangement(const Changement& changement)
{
    auto entree = std::make_unique<OXcci_rub_chgtData>();
    entree->m_grubrique = allouerSiMis(changement.rubrique);
    entree->m_gancienne_valeur = allouerSiMis(changement.ancienneValeur);
    entree->m_gnouvelle_valeur = allouerSiMis(changement.nouvelleValeur);
    ajouter(brut(), std::move(entree));
    return *this;
}

Vol& Vol::viderChangements() noexcept
{
    if (_vol)
        for (int& nombre = Listes::nombreChangements(*_vol); nombre > 0;)
            Listes::remplacer<OXcci_rub_chgtData>(*_vol, Listes::changements(*_vol)[--nombre], nullptr);
    return *this;
}

bool operator==(const Vol& a, const Vol& b)
{
    for (std::size_t i = 0; i < std::size(DESCRIPTEURS); ++i)
        if (a.lire(static_cast<Champ>(i)) != b.lire(static_cast<Champ>(i)))
            return false;
    return a.points() == b.points() && a.changements() == b.changements();
}

} // namespace cdv
