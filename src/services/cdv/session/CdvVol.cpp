#include "CdvVol.h"

#include "OXvol_completData.h"
#include "orix/OXcci_rub_chgtData.h"
#include "orix/OXchaine.h"
#include "orix/OXcode_statData.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>
#include <utility>

namespace cdv {

ErreurVol::~ErreurVol() = default;

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

/// Reaches the two lists of any record: they are protected, and only a derived class may name them.
struct Listes : Record
{
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

[[noreturn]] void refuserNul() { throw ErreurVol("a null byte does not fit in a field"); }

/// A text as the records want it: from array new.
std::unique_ptr<char[]> allouer(std::string_view texte)
{
    if (texte.find('\0') != std::string_view::npos)
        refuserNul();
    std::unique_ptr<char[]> copie(new char[texte.size() + 1]);
    std::copy(texte.begin(), texte.end(), copie.get());
    copie[texte.size()] = '\0';
    return copie;
}

char* allouer(std::optional<std::string_view> texte) { return texte ? allouer(*texte).release() : nullptr; }

void remplacer(char*& membre, std::unique_ptr<char[]> valeur)
{
    delete[] membre;
    membre = valeur.release();
}

/// Gives each character to sortie as its ISO-8859-1 byte.
template <class Sortie>
void decoderUtf8(std::string_view utf8, Sortie sortie)
{
    for (std::size_t i = 0; i < utf8.size();) {
        const auto tete = static_cast<unsigned char>(utf8[i]);
        const int suite = tete < 0x80                   ? 0
                          : tete >= 0xC2 && tete < 0xE0 ? 1
                          : (tete & 0xF0) == 0xE0       ? 2
                          : tete >= 0xF0 && tete < 0xF5 ? 3
                                                        : -1;
        unsigned long point = suite <= 0 ? tete : tete & (0x3Fu >> suite);
        bool valide = suite >= 0 && i + static_cast<std::size_t>(suite) < utf8.size();
        for (int k = 1; valide && k <= suite; ++k) {
            const auto octet = static_cast<unsigned char>(utf8[i + static_cast<std::size_t>(k)]);
            valide = (octet & 0xC0) == 0x80;
            point = point << 6 | (octet & 0x3Fu);
        }
        constexpr unsigned long PREMIERS[] = {0, 0x80, 0x800,
                                              0x10000}; // a longer form than needed is not UTF-8
        if (!valide || point < PREMIERS[suite])
            throw ErreurVol("the text is not UTF-8 at byte " + std::to_string(i + 1));
        if (point > 0xFF) {
            char texte[64];
            std::snprintf(texte, sizeof texte, "the character U+%04lX does not exist in ISO-8859-1", point);
            throw ErreurVol(texte);
        }
        sortie(static_cast<char>(point));
        i += static_cast<std::size_t>(suite) + 1;
    }
}

/// The same as a text for a record: decoded straight into the buffer that the record keeps.
std::unique_ptr<char[]> allouerDepuisUtf8(const std::string& utf8)
{
    std::unique_ptr<char[]> texte(new char[utf8.size() + 1]);
    char* fin = texte.get();
    decoderUtf8(utf8, [&fin](char octet) {
        if (octet == '\0')
            refuserNul();
        *fin++ = octet;
    });
    *fin = '\0';
    return texte;
}

} // namespace

// ---- Life of a value

Vol::Vol() noexcept = default;
Vol::Vol(const OXvol_completData& source) : _vol(std::make_unique<Record>(source)) {}
Vol::Vol(Vol&& source) noexcept = default;
Vol& Vol::operator=(Vol&& source) noexcept = default;
Vol::~Vol() = default;

Vol Vol::prendre(OXvol_completData& source)
{
    Vol vol;
    Record& cible = vol.brut();
    pourChaqueChamp([](const char*, auto& pris, auto& laisse) { std::swap(pris, laisse); }, cible, source);
    std::swap(Listes::points(cible), Listes::points(source));
    std::swap(Listes::nombrePoints(cible), Listes::nombrePoints(source));
    std::swap(Listes::changements(cible), Listes::changements(source));
    std::swap(Listes::nombreChangements(cible), Listes::nombreChangements(source));
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

namespace {
void poser(Record& vol, Champ champ, std::unique_ptr<char[]> valeur)
{
    const Descripteur& descripteur = decrire(champ);
    if (descripteur.texte != nullptr)
        return remplacer(vol.*descripteur.texte, std::move(valeur));
    OXcode_statData*& code = vol.*descripteur.code;
    if (code == nullptr) {
        if (!valeur)
            return;
        code = new OXcode_statData;
    }
    remplacer(code->*descripteur.partie, std::move(valeur));
    if (code->m_gcode == nullptr && code->m_glibelle == nullptr && code->m_gheure_chgt == nullptr)
        delete std::exchange(code, nullptr);
}
} // namespace

Vol& Vol::ecrire(Champ champ, std::string_view valeur)
{
    std::unique_ptr<char[]> texte =
        allouer(valeur); // before the old text goes: the value may be a view of it
    poser(brut(), champ, std::move(texte));
    return *this;
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
    throw ErreurVol("'" + std::string(nom) + "' is not a field of a flight record");
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
template <class Table>
[[noreturn]] void refuserPlein(const Table& table, const char* quoi)
{
    throw ErreurVol("a flight record holds at most " + std::to_string(std::size(table)) + " " + quoi);
}

void ajouter(Record& vol, std::unique_ptr<char[]> point)
{
    auto& points = Listes::points(vol);
    int& nombre = Listes::nombrePoints(vol);
    if (nombre >= static_cast<int>(std::size(points)))
        refuserPlein(points, "route points");
    points[nombre++] = point.release();
}

void ajouter(Record& vol, std::unique_ptr<OXcci_rub_chgtData> changement)
{
    auto& changements = Listes::changements(vol);
    int& nombre = Listes::nombreChangements(vol);
    if (nombre >= static_cast<int>(std::size(changements)))
        refuserPlein(changements, "changed fields");
    changements[nombre++] = changement.release();
}
} // namespace

Vol& Vol::ajouterPoint(std::string_view point)
{
    ajouter(brut(), allouer(point));
    return *this;
}

Vol& Vol::viderPoints() noexcept
{
    if (_vol)
        for (int& nombre = Listes::nombrePoints(*_vol); nombre > 0;)
            delete[] std::exchange(Listes::points(*_vol)[--nombre], nullptr);
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
    entree->m_grubrique = allouer(changement.rubrique);
    entree->m_gancienne_valeur = allouer(changement.ancienneValeur);
    entree->m_gnouvelle_valeur = allouer(changement.nouvelleValeur);
    ajouter(brut(), std::move(entree));
    return *this;
}

Vol& Vol::viderChangements() noexcept
{
    if (_vol)
        for (int& nombre = Listes::nombreChangements(*_vol); nombre > 0;)
            delete std::exchange(Listes::changements(*_vol)[--nombre], nullptr);
    return *this;
}

bool operator==(const Vol& a, const Vol& b)
{
    for (std::size_t i = 0; i < std::size(DESCRIPTEURS); ++i)
        if (a.lire(static_cast<Champ>(i)) != b.lire(static_cast<Champ>(i)))
            return false;
    return a.points() == b.points() && a.changements() == b.changements();
}

// ---- ISO-8859-1 and UTF-8

std::string versUtf8(std::string_view latin1)
{
    std::string utf8;
    utf8.reserve(latin1.size() + latin1.size() / 8);
    for (const char caractere : latin1) {
        const auto octet = static_cast<unsigned char>(caractere);
        if (octet < 0x80) {
            utf8 += caractere;
        } else {
            utf8 += static_cast<char>(0xC0 | octet >> 6);
            utf8 += static_cast<char>(0x80 | (octet & 0x3F));
        }
    }
    return utf8;
}

std::string depuisUtf8(std::string_view utf8)
{
    std::string latin1;
    latin1.reserve(utf8.size());
    decoderUtf8(utf8, [&latin1](char octet) { latin1 += octet; });
    return latin1;
}

// ---- JSON

namespace {

using Json = nlohmann::ordered_json;

constexpr const char CHANGEMENTS[] = "changements";
constexpr const char POINTS[] = "points";
constexpr std::pair<const char*, std::optional<std::string_view> Changement::*> PARTIES_CHANGEMENT[] = {
    {"rubrique", &Changement::rubrique},
    {"ancienne_valeur", &Changement::ancienneValeur},
    {"nouvelle_valeur", &Changement::nouvelleValeur},
};

/// Refuses a name given twice in an object: the parser itself would keep the last one and say nothing.
/// Refuses also what is nested without end.
class SansDoublon
{
  public:
    bool operator()(int profondeur, Json::parse_event_t evenement, const Json& valeur)
    {
        if (profondeur > Vol::PROFONDEUR_JSON)
            throw ErreurVol("nested deeper than " + std::to_string(Vol::PROFONDEUR_JSON) + " levels");
        if (evenement == Json::parse_event_t::object_start)
            _noms.emplace_back();
        else if (evenement == Json::parse_event_t::object_end)
            _noms.pop_back();
        else if (evenement == Json::parse_event_t::key)
            if (const auto& nom = valeur.get_ref<const std::string&>(); !_noms.back().insert(nom).second)
                throw ErreurVol("'" + nom + "' is given twice");
        return true;
    }

  private:
    std::vector<std::set<std::string>> _noms;
};

Json analyser(std::string_view json)
{
    try {
        SansDoublon sansDoublon;
        return Json::parse(json.begin(), json.end(), std::ref(sansDoublon));
    } catch (const Json::exception& erreur) {
        const std::string_view message = erreur.what();
        const std::size_t prefixe = message.find("] "); // "[json.exception.parse_error.101] "
        throw ErreurVol("not JSON: " + std::string(prefixe == std::string_view::npos
                                                       ? message
                                                       : message.substr(prefixe + 2)));
    }
}

const std::string& exigerTexte(const Json& valeur)
{
    if (!valeur.is_string())
        throw ErreurVol(std::string("a text is expected, not this ") + valeur.type_name());
    return valeur.get_ref<const std::string&>();
}

void exiger(bool condition, const char* attendu)
{
    if (!condition)
        throw ErreurVol(std::string(attendu) + " is expected");
}

void lireTexte(Vol& vol, const std::string& nom, const Json& valeur)
{
    const Champ champ = Vol::champ(nom);
    if (vol.lire(champ))
        throw ErreurVol("it is given twice");
    if (!valeur.is_null())
        poser(vol.brut(), champ, allouerDepuisUtf8(exigerTexte(valeur)));
}

void lireChangement(Vol& vol, const Json& valeur)
{
    exiger(valeur.is_object(), "an array of objects");
    auto entree = std::make_unique<OXcci_rub_chgtData>();
    char** const textes[] = {&entree->m_grubrique, &entree->m_gancienne_valeur, &entree->m_gnouvelle_valeur};
    for (const auto& [nom, texte] : valeur.items()) {
        const auto partie =
            std::find_if(std::begin(PARTIES_CHANGEMENT), std::end(PARTIES_CHANGEMENT),
                         [&nom = nom](const auto& candidate) { return nom == candidate.first; });
        if (partie == std::end(PARTIES_CHANGEMENT))
            throw ErreurVol("'" + nom + "' is not a part of a changed field");
        if (!texte.is_null())
            remplacer(*textes[partie - std::begin(PARTIES_CHANGEMENT)],
                      allouerDepuisUtf8(exigerTexte(texte)));
    }
    ajouter(vol.brut(), std::move(entree));
}

void lireMembre(Vol& vol, const std::string& nom, const Json& valeur)
{
    if (nom == POINTS) {
        exiger(valeur.is_array(), "an array of texts");
        for (const Json& point : valeur)
            ajouter(vol.brut(), allouerDepuisUtf8(exigerTexte(point)));
    } else if (nom == CHANGEMENTS) {
        exiger(valeur.is_array(), "an array of objects");
        for (const Json& changement : valeur)
            lireChangement(vol, changement);
    } else if (Vol::chercher(nom + ".code")) {
        exiger(valeur.is_object() || valeur.is_null(), "an object");
        for (const auto& [partie, texte] : valeur.items())
            lireTexte(vol, nom + "." + partie, texte);
    } else {
        lireTexte(vol, nom, valeur);
    }
}

} // namespace

std::string Vol::versJson(int indentation) const
{
    Json json = Json::object();
    for (const Descripteur& descripteur : DESCRIPTEURS) {
        const auto valeur = lire(static_cast<Champ>(&descripteur - DESCRIPTEURS));
        if (!valeur)
            continue;
        const std::string nom(descripteur.court());
        if (const std::size_t point = nom.find('.'); point != std::string::npos)
            json[nom.substr(0, point)][nom.substr(point + 1)] = versUtf8(*valeur);
        else
            json[nom] = versUtf8(*valeur);
    }
    for (std::size_t i = 0; i < nombreChangements(); ++i) {
        Json entree = Json::object();
        const Changement lu = changement(i);
        for (const auto& [nom, partie] : PARTIES_CHANGEMENT)
            if (const auto& texte = lu.*partie)
                entree[nom] = versUtf8(*texte);
        json[CHANGEMENTS].push_back(std::move(entree));
    }
    for (std::size_t i = 0; i < nombrePoints(); ++i)
        json[POINTS].push_back(versUtf8(point(i)));
    return json.dump(indentation);
}

Vol Vol::depuisJson(std::string_view texte)
{
    const Json json = analyser(texte);
    exiger(json.is_object(), "a JSON object");
    Vol vol;
    for (const auto& [nom, valeur] : json.items()) {
        try {
            lireMembre(vol, nom, valeur);
        } catch (const ErreurVol& erreur) {
            throw ErreurVol(nom + ": " + erreur.what());
        }
    }
    return vol;
}

} // namespace cdv
