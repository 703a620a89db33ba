#include "Comparaison.h"

namespace comparaison {

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
         {variante, "brut"},
         true,
         notre},
        {"omniorb_construit",
         "omniORB, struct built",
         "omniorb_client",
         "serveur_minimal",
         {variante, "brut", construire},
         true,
         notre},
        {"omniorb_groupe",
         "omniORB, struct ready, bursts gathered",
         "omniorb_client",
         "serveur_minimal",
         {},
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
    std::vector<Mesure> toutes = {
        {"envoi", "Sending, no answer", {}, 1, false, {}, ""},
        {"envoi_occupe",
         "Sending to a busy server (" + std::to_string(occupation) + " us a record)",
         {"--occupation", std::to_string(occupation)},
         0.5,
         false,
         {},
         ""},
        {"rappel_64", "Request to callback, 64 in flight", {"--en-vol", "64"}, 0.5, true, {}, ""},
        {"rappel_1", "Request to callback, 1 in flight", {"--en-vol", "1"}, 0.1, true, {}, ""},
    };
    toutes.push_back({MEMOIRE, "Memory of the client", {}, 10, true, {FACADE}, "", 0, true});
    if (!courbes)
        return toutes;
    const auto courbe = [&](const std::string& option, const std::string& titre, bool rappel,
                            const std::vector<std::pair<int, double>>& points) {
        for (const auto& [x, part] : points)
            toutes.push_back({option,
                              titre,
                              {"--" + option, std::to_string(x)},
                              part,
                              rappel,
                              {FACADE, ORB_PRET},
                              option,
                              x});
    };
    courbe("champs", "Texts set, of 55", false, {{0, 0.5}, {15, 0.5}, {30, 0.5}, {45, 0.5}, {55, 0.5}});
    // The bytes sent are bounded, not the records: 30 texts of 64 KiB are 2 MB a record.
    courbe("longueur", "Bytes of a text", false,
           {{8, 0.5}, {64, 0.4}, {512, 0.15}, {4096, 0.025}, {16384, 0.01}, {65535, 0.0025}});
    courbe("en-vol", "Requests in flight", true,
           {{1, 0.1}, {2, 0.15}, {4, 0.2}, {8, 0.3}, {16, 0.3}, {32, 0.3}, {64, 0.3}});
    courbe("fils", "Application threads", false, {{1, 0.5}, {2, 0.5}, {4, 0.5}, {8, 0.5}});
    return toutes;
}

const std::vector<Objectif>& objectifs()
{
    static const std::vector<Objectif> tous = {
        {"client CPU against omniORB with a ready struct, busy server", "envoi_occupe", "cpu_us", ORB_PRET,
         true, 1.3},
        {"rate against Ice one-way", "envoi", "debit", "ice", false, 1.3},
        {"rate against gRPC with hint", "envoi", "debit", "grpc_tampon", false, 1.2},
        // TAO's sendc_ with a nil handler runs at 83/248 of omniORB's rate, both with a ready struct: 2.5
        // times that.
        {"rate against omniORB with a ready struct (2.5 times TAO's)", "envoi", "debit", ORB_PRET, false,
         2.5 * 83 / 248},
        {"rate against Ice, 64 in flight", "rappel_64", "debit", "ice", false, 1.5},
        {"p50 against omniORB, 1 in flight", "rappel_1", "p50_us", ORB_PRET, true, 1},
        {"p50 against Ice, 1 in flight", "rappel_1", "p50_us", "ice", true, 1},
        {"p50 against gRPC, 1 in flight", "rappel_1", "p50_us", "grpc", true, 1},
        {"p99 against omniORB, 1 in flight", "rappel_1", "p99_us", ORB_PRET, true, 1},
        {"p99 against Ice, 1 in flight", "rappel_1", "p99_us", "ice", true, 1},
        {"p99 against gRPC, 1 in flight", "rappel_1", "p99_us", "grpc", true, 1},
    };
    return tous;
}

} // namespace comparaison
