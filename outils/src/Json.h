#ifndef JSON_H
#define JSON_H

#include "orix/TexteSur.h"

#include <nlohmann/json.hpp>

#include <string>

namespace outils {

/// What the command itself tells in JSON, on one line, or indented by that many spaces a level. It may be
/// shown on a terminal whatever it holds; what is no UTF-8 in it is replaced.
inline std::string ecrireJson(const nlohmann::ordered_json& objet, int indentation = -1)
{
    return orix::jsonSur(
        objet.dump(indentation, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

} // namespace outils

#endif
