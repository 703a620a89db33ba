#include "Comparaison.h"

namespace comparaison {

namespace {

constexpr char CHARGE[] = "_charge"; // ends the name of a measure on a busy machine

/// Requests in flight, and their part of the records.
const std::vector<std::pair<int, double>> EN_VOL = {{1, 0.1},  {2, 0.15}, {4, 0.2}, {8, 0.3},
                                                    {16, 0.3}, {32, 0.3}, {64, 0.3}};

} // namespace

const std::vector<Systeme>& systemes()
{
    const std::string notre = "always built", ice = "Debian packages libzeroc-ice-dev zeroc-ice-compilers",
                      grpc = "Debian packages libgrpc++-dev libprotobuf-dev protobuf-compiler-grpc";
    const std::string construire = "--construire", variante = "--variante";
    static const std::vector<Systeme> tous = {
        {FACADE, "libOXcdvCli", "facade_client", "serveur_minimal", {}, true, notre},
        {"facade_construite",
         "libOXcdvCli, record built",
         "facade_client",
         "serveur_minimal",
         {construire},
         false,
         notre},
        {FACADE_GROUPEE,
         "libOXcdvCli, grouped",
         "facade_client",
         "serveur_minimal",
         {variante, "groupe"},
         true,
         notre},
        {FACADE_GROUPEE + "_construite",
         "libOXcdvCli, grouped, record built",
         "facade_client",
         "serveur_minimal",
         {variante, "groupe", construire},
         false,
         notre},
        {"facade_traces",
         "libOXcdvCli, traces at 100",
         "facade_client",
         "serveur_minimal",
         {variante, "traces"},
         true,
         notre},
        {ORB_PRET,
         "omniORB, struct ready",
         "omniorb_client",
         "serveur_minimal",
         {variante, "orb"},
         true,
         notre},
        {"omniorb_construit",
         "omniORB, struct built",
         "omniorb_client",
         "serveur_minimal",
         {variante, "orb", construire},
         true,
         notre},
        {"omniorb_groupe",
         "omniORB, struct ready, grouped",
         "omniorb_client",
         "serveur_minimal",
         {variante, "orb-groupe"},
         true,
         notre},
        {"ice", "Ice one-way, ready", "ice_client", "ice_serveur", {}, true, ice},
        {"ice_construit", "Ice one-way, built", "ice_client", "ice_serveur", {construire}, true, ice},
        {"ice_lot", "Ice batched, ready", "ice_client", "ice_serveur", {variante, "lot"}, false, ice},
        {"ice_lot_construit",
         "Ice batched, built",
         "ice_client",
         "ice_serveur",
         {variante, "lot", construire},
         false,
         ice},
        {"grpc", "gRPC stream, ready", "grpc_client", "grpc_serveur", {}, true, grpc},
        {"grpc_construit", "gRPC stream, built", "grpc_client", "grpc_serveur", {construire}, true, grpc},
        {"grpc_tampon",
         "gRPC stream with hint, ready",
         "grpc_client",
         "grpc_serveur",
         {variante, "tampon"},
         false,
         grpc},
        {"grpc_tampon_construit",
         "gRPC stream with hint, built",
         "grpc_client",
         "grpc_serveur",
         {variante, "tampon", construire},
         false,
         grpc},
    };
    return tous;
}

std::vector<Mesure> mesures(int occupation, bool courbes)
{
    std::vector<Mesure> toutes;
    const auto ajouter = [&](Mesure mesure) {
        toutes.push_back(mesure);
        mesure.nom += CHARGE;
        mesure.titre += ", machine busy";
        mesure.charge = true;
        if (!mesure.courbe.empty())
            mesure.courbe = mesure.nom;
        toutes.push_back(std::move(mesure));
    };
    ajouter({"envoi", "Sending, no answer", {}, 1, false, {}, ""});
    ajouter({"envoi_occupe",
             "Sending to a busy server (" + std::to_string(occupation) + " us a record)",
             {"--occupation", std::to_string(occupation)},
             0.5,
             false,
             {},
             ""});
    ajouter({"rappel_64", "Request to callback, 64 in flight", {"--en-vol", "64"}, 0.5, true, {}, ""});
    ajouter({"rappel_1", "Request to callback, 1 in flight", {"--en-vol", "1"}, 0.1, true, {}, ""});
    toutes.push_back({MEMOIRE, "Memory of the client", {}, 10, true, {FACADE}, "", 0, false, true});
    if (!courbes)
        return toutes;
    const auto point = [](const std::string& option, const std::string& titre, bool rappel, int x,
                          double part, const Arguments& contre = {FACADE, ORB_PRET}) {
        return Mesure{option, titre, {"--" + option, std::to_string(x)}, part, rappel, contre, option, x};
    };
    const auto courbe = [&](const std::string& option, const std::string& titre,
                            const std::vector<std::pair<int, double>>& points) {
        for (const auto& [x, part] : points)
            toutes.push_back(point(option, titre, false, x, part));
    };
    courbe("champs", "Texts set, of 55", {{0, 0.5}, {15, 0.5}, {30, 0.5}, {45, 0.5}, {55, 0.5}});
    // The bytes sent are bounded, not the records: 30 texts of 64 KiB are 2 MB a record.
    courbe("longueur", "Bytes of a text",
           {{8, 0.5}, {64, 0.4}, {512, 0.15}, {4096, 0.025}, {16384, 0.01}, {65535, 0.0025}});
    for (const auto& [x, part] : EN_VOL)
        ajouter(point("en-vol", "Requests in flight", true, x, part,
                      {FACADE, FACADE_GROUPEE, ORB_PRET, "ice", "grpc"}));
    courbe("fils", "Application threads", {{1, 0.5}, {2, 0.5}, {4, 0.5}, {8, 0.5}});
    return toutes;
}

std::vector<Objectif> objectifs()
{
    const std::string debit = "debit", cpu = "cpu_us";
    const std::string groupeConstruit = FACADE_GROUPEE + "_construite", lotConstruit = "ice_lot_construit";
    std::vector<Objectif> tous = {
        {"client CPU against omniORB with a ready struct, busy server", "envoi_occupe", 0, cpu, FACADE,
         ORB_PRET, true, 1.3},
        {"grouped: rate against gRPC with hint", "envoi", 0, debit, FACADE_GROUPEE, "grpc_tampon", false,
         1.2},
        {"grouped: rate against Ice's batch, ready", "envoi", 0, debit, FACADE_GROUPEE, "ice_lot", false, 1},
        {"grouped: rate against Ice's batch, built", "envoi", 0, debit, groupeConstruit, lotConstruit, false,
         1},
        {"grouped: client CPU against Ice's batch, ready", "envoi", 0, cpu, FACADE_GROUPEE, "ice_lot", true,
         0.7},
        {"grouped: client CPU against Ice's batch, built", "envoi", 0, cpu, groupeConstruit, lotConstruit,
         true, 0.7},
        {"rate against Ice one-way", "envoi", 0, debit, FACADE, "ice", false, 1.3},
        {"rate against omniORB with a ready struct", "envoi", 0, debit, FACADE, ORB_PRET, false, 0.95},
        {"rate against omniORB with a ready struct, texts of 64 KiB", "longueur", 65535, debit, FACADE,
         ORB_PRET, false, 1},
        {"p50 against omniORB, 1 in flight", "rappel_1", 0, "p50_us", FACADE, ORB_PRET, true, 1},
        {"p50 against gRPC, 1 in flight", "rappel_1", 0, "p50_us", FACADE, "grpc", true, 1},
        {"p99 against omniORB, 1 in flight", "rappel_1", 0, "p99_us", FACADE, ORB_PRET, true, 1},
        {"p99 against gRPC, 1 in flight", "rappel_1", 0, "p99_us", FACADE, "grpc", true, 1},
    };
    for (const std::string charge : {"", CHARGE}) {
        const std::string ou = charge.empty() ? "" : ", machine busy";
        for (const std::string centile : {"p50", "p99"})
            tous.push_back({centile + " against Ice, 1 in flight" + ou, "rappel_1" + charge, 0,
                            centile + "_us", FACADE, "ice", true, 1.15});
        for (const auto& [x, part] : EN_VOL) {
            const std::string enVol = ", " + std::to_string(x) + " in flight" + ou;
            const double debitVoulu = x < 4 ? 0.9 : x < 64 ? 1 : charge.empty() ? 1.5 : 1.3;
            if (x > 1)
                tous.push_back({"rate against Ice" + enVol, "en-vol" + charge, x, debit, FACADE, "ice", false,
                                debitVoulu});
            if (x == 64)
                tous.push_back({"grouped: rate against Ice" + enVol, "en-vol" + charge, x, debit,
                                FACADE_GROUPEE, "ice", false, debitVoulu});
            if (x <= 16)
                tous.push_back({"client CPU against omniORB" + enVol, "en-vol" + charge, x, cpu, FACADE,
                                ORB_PRET, true, 1.4});
        }
    }
    return tous;
}

} // namespace comparaison
