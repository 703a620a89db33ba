#include "Commandes.h"
#include "Statut.h"
#include "TamponFd.h"
#include "Terminal.h"

#include <iostream>
#include <new>

int main(int argc, char** argv)
{
    try {
        outils::Options options;
        if (const std::optional<int> statut = outils::lireOptions(argc, argv, options))
            return *statut;
        outils::Interruption interruption;
        return outils::executer(options, interruption);
    } catch (const outils::LecteurParti&) {
        return outils::FAIT; // as in "cdv lister | head": whoever read has had enough
    } catch (const outils::Arret& arret) {
        std::cerr << outils::message(std::string("cdv : ") + arret.what()) << std::endl;
        return arret.statut();
    } catch (const std::bad_alloc&) {
        std::cerr << "cdv : mémoire insuffisante" << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << outils::message(std::string("cdv : ") + exception.what()) << std::endl;
    }
    return outils::USAGE;
}
