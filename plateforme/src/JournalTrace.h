#ifndef JOURNALTRACE_H
#define JOURNALTRACE_H

#include <cstddef>
#include <string>

namespace orix {
struct LigneTrace;
}

/// Where trace()'s lines go when nobody receives them: a file, or the standard error.
namespace orix::journal {

/// Appends to the file from now on; an empty name: the standard error. Throws std::exception when the file
/// cannot be written, and the lines go where they went.
/// capacite: how many lines may wait for a thread of the log's own, which writes them. When that many wait,
/// each new one takes the place of the oldest: whoever traces never waits for the disk. Lost lines are
/// counted, and their number is written. 0: each line is written and flushed by the thread that traces it.
void ouvrir(const std::string& fichier, std::size_t capacite);
/// Back to the standard error, without waiting lines, the file being complete.
void fermer() noexcept;

/// Throws nothing of the log's: a full disk takes lines, not the process.
void ecrire(const LigneTrace& ligne);

} // namespace orix::journal

#endif
