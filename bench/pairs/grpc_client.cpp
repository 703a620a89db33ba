// gRPC: one client stream, with the variant "tampon" under a buffer hint; callbacks over a bidirectional
// stream.
#include "../mesure.h"
#include "../vol.h"

// The accessors of this field are in lower case.
#define set_gadresse_mode_S set_gadresse_mode_s
#include "VolGrpc.grpc.pb.h"

#include <grpcpp/grpcpp.h>

namespace {

using namespace bench::proto;

void copier(Triplet* cible, const bench::Triplet& source)
{
    cible->set_a(source.a);
    cible->set_b(source.b);
    cible->set_c(source.c);
}

Requete requete(const bench::Contenu& contenu)
{
    Requete requete;
    Vol& vol = *requete.mutable_vol();
#define BENCH_TEXTE(nom)                                                                                     \
    if (!contenu.nom.empty())                                                                                \
        vol.set_##nom(contenu.nom);
#define BENCH_CODE(nom)                                                                                      \
    for (const bench::Triplet& code : contenu.nom)                                                           \
        copier(vol.add_##nom(), code);
    OXVOL_COMPLET_CHAMPS(BENCH_TEXTE, BENCH_CODE)
#undef BENCH_TEXTE
#undef BENCH_CODE
    for (const bench::Triplet& rubrique : contenu.rubriques)
        copier(vol.add_rubriques(), rubrique);
    for (const std::string& point : contenu.points)
        vol.add_points(point);
    return requete;
}

class EnvoyeurGrpc : public bench::Envoyeur
{
  public:
    EnvoyeurGrpc(const bench::Options& options, bench::EnVol& enVol)
        : _construire(options.construire),
          _tampon(options.variante == "tampon"),
          _contenu(options.champs, options.longueur),
          _prete(requete(_contenu))
    {
        if (options.fils > 1)
            throw std::invalid_argument("a stream is written by one thread");
        grpc::ChannelArguments arguments;
        arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
        const auto canal = grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(options.port),
                                                     grpc::InsecureChannelCredentials(), arguments);
        _serveur = Serveur::NewStub(canal);
        if (options.rappel) {
            _echange = _serveur->Echanger(&_contexte);
            _lecteur = std::thread([this, &enVol] {
                for (Notification notification; _echange->Read(&notification);)
                    enVol.revenir();
            });
        } else {
            _envoi = _serveur->Envoyer(&_contexte, &_bilan);
        }
    }
    ~EnvoyeurGrpc() override
    {
        if (_envoi) {
            _envoi->WritesDone();
            _envoi->Finish();
        } else {
            _echange->WritesDone();
            _lecteur.join();
            _echange->Finish();
        }
    }

    void envoyer(int numero, bool dernier) override
    {
        if (_construire)
            ecrire(requete(_contenu), numero, dernier);
        else
            ecrire(_prete, numero, dernier);
    }

  private:
    template <class R>
    void ecrire(R&& requete, int numero, bool dernier)
    {
        requete.set_numero(numero);
        requete.set_client(1);
        grpc::WriteOptions options;
        if (_tampon && !dernier)
            options.set_buffer_hint();
        if (!(_envoi ? _envoi->Write(requete, options) : _echange->Write(requete, options)))
            throw std::runtime_error("the stream is broken");
    }

    bool _construire, _tampon;
    bench::Contenu _contenu;
    Requete _prete;
    grpc::ClientContext _contexte;
    Bilan _bilan;
    std::unique_ptr<Serveur::Stub> _serveur;
    std::unique_ptr<grpc::ClientWriter<Requete>> _envoi;
    std::unique_ptr<grpc::ClientReaderWriter<Requete, Notification>> _echange;
    std::thread _lecteur;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::client(argc, argv, [](const bench::Options& options, bench::EnVol& enVol) {
        return std::make_unique<EnvoyeurGrpc>(options, enVol);
    });
}
