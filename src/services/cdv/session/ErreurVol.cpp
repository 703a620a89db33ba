#include "ErreurVol.h"

#include <iterator>
#include <utility>

namespace cdv {

struct ErreurVol::Parties
{
    Motif motif;
    std::string endroit;
    std::vector<std::string> sujets;
    std::string raison;

    std::string texte() const;
};

namespace {

/// What is said of a reason, in the order of the reasons; "%" stands for the first subject.
constexpr const char* PHRASES[] = {
    "a null byte does not fit in a field",
    "the text is not UTF-8 at byte %",
    "the character % does not exist in ISO-8859-1",
    "'%' is not a field of a flight record",
    "'%' is not a part of a changed field",
    "'%' is given twice",
    "it is given twice",
    "a flight record holds at most % route points",
    "a flight record holds at most % changed fields",
    "not JSON",
    "nested deeper than % levels",
    "a text is expected, not this %",
    "an array of texts is expected",
    "an array of objects is expected",
    "an object is expected",
    "a JSON object is expected",
};
static_assert(std::size(PHRASES) == static_cast<std::size_t>(ErreurVol::Motif::objetJson) + 1);

} // namespace

std::string ErreurVol::Parties::texte() const
{
    std::string ligne = endroit.empty() ? "" : endroit + ": ";
    for (const char* c = PHRASES[static_cast<int>(motif)]; *c != '\0'; ++c) {
        if (*c == '%')
            ligne += sujets.at(0);
        else
            ligne += *c;
    }
    return raison.empty() ? ligne : ligne + ": " + raison;
}

ErreurVol::ErreurVol(Motif motif, std::vector<std::string> sujets, std::string raison)
    : ErreurVol(std::make_shared<const Parties>(Parties{motif, {}, std::move(sujets), std::move(raison)}))
{}

ErreurVol::ErreurVol(const ErreurVol& erreur, const std::string& endroit)
    : ErreurVol(
          std::make_shared<const Parties>(Parties{erreur.motif(), endroit, erreur.sujets(), erreur.raison()}))
{}

ErreurVol::ErreurVol(std::shared_ptr<const Parties> parties)
    : std::invalid_argument(parties->texte()), _parties(std::move(parties))
{}

ErreurVol::ErreurVol(const ErreurVol& autre) noexcept = default;
ErreurVol::~ErreurVol() = default;

ErreurVol::Motif ErreurVol::motif() const noexcept { return _parties->motif; }
const std::string& ErreurVol::endroit() const noexcept { return _parties->endroit; }
const std::vector<std::string>& ErreurVol::sujets() const noexcept { return _parties->sujets; }
const std::string& ErreurVol::raison() const noexcept { return _parties->raison; }

} // namespace cdv
