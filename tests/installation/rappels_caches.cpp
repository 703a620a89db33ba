#include "CdvSession.h"
#include <iostream>
int main(int argc, char** argv)
try {
    cdv::Processus processus(argc, argv, argv[1]);
    cdv::Session session;
    session.ouvrir();
    return 1;
} catch (const cdv::Erreur& erreur) {
    std::cout << erreur.what() << '\n';
    return 0;
}
