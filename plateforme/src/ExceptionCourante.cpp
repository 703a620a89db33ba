#include "ExceptionCourante.h"

#include "LiaisonORB.h"
#include "orix/interne/Echec.h"

#include <exception>

namespace orix {

std::string texteExceptionCourante()
{
    try {
        throw;
    } catch (const Echec& echec) {
        return "Echec, code = " + std::to_string(echec.lireCode()) + " (" + echec.what() + ")";
    } catch (const CORBA::Exception& exception) {
        return "exception CORBA " + orb::information(exception);
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "exception inconnue";
    }
}

} // namespace orix
