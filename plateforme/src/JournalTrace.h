#ifndef JOURNALTRACE_H
#define JOURNALTRACE_H

#include <string>

/// Where trace()'s lines go when nobody receives them.
namespace orix::journal {

/// Appends to the file from now on; an empty name: the standard error. Throws std::exception when the file
/// cannot be written, and the lines go where they went.
void ouvrir(const std::string& fichier);
/// Back to the standard error, the file being complete.
void fermer() noexcept;

} // namespace orix::journal

#endif
