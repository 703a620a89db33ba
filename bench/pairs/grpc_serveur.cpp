// Drops each record of a gRPC stream, or sends it back.
#include "../mesure.h"

#include "VolGrpc.grpc.pb.h"

#include <grpcpp/grpcpp.h>

namespace {

using namespace bench::proto;

class Service : public Serveur::Service
{
  public:
    Service(const bench::Options& options, bench::Reception& reception) : _reception(reception)
    {
        int port = 0;
        grpc::ServerBuilder constructeur;
        constructeur.AddListeningPort("127.0.0.1:" + std::to_string(options.port),
                                      grpc::InsecureServerCredentials(), &port);
        constructeur.RegisterService(this);
        _serveur = constructeur.BuildAndStart();
        if (!_serveur || port == 0)
            throw std::runtime_error("the port cannot be opened");
    }
    ~Service() override { _serveur->Shutdown(); }

    grpc::Status Envoyer(grpc::ServerContext*, grpc::ServerReader<Requete>* flux, Bilan* bilan) override
    {
        int recus = 0;
        for (Requete requete; flux->Read(&requete); ++recus)
            _reception.recevoir();
        bilan->set_recus(recus);
        return grpc::Status::OK;
    }

    grpc::Status Echanger(grpc::ServerContext*,
                          grpc::ServerReaderWriter<Notification, Requete>* flux) override
    {
        Notification notification;
        for (Requete requete; flux->Read(&requete);) {
            _reception.recevoir();
            notification.set_numero(requete.numero());
            notification.mutable_vol()->Swap(requete.mutable_vol()); // no copy where the API needs none
            flux->Write(notification);
        }
        return grpc::Status::OK;
    }

  private:
    bench::Reception& _reception;
    std::unique_ptr<grpc::Server> _serveur;
};

} // namespace

int main(int argc, char** argv)
{
    return bench::serveur(argc, argv, [](const bench::Options& options, bench::Reception& reception) {
        return std::make_shared<Service>(options, reception);
    });
}
