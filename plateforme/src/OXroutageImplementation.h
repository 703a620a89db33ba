#ifndef OXROUTAGEIMPLEMENTATION_H
#define OXROUTAGEIMPLEMENTATION_H

#include <map>
#include <string>
#include <vector>

namespace orix::routage {

/// The table from now on; not owned, and must live to the end of the process.
void definir(const std::map<std::string, std::vector<std::string>>* table) noexcept;

} // namespace orix::routage

#endif
