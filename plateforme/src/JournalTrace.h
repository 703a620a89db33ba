#ifndef JOURNALTRACE_H
#define JOURNALTRACE_H

#include <cstddef>
#include <string>

namespace orix {
struct LigneTrace;
}

/// Where trace()'s lines go when nobody receives them: a file, or the standard error.
namespace orix::journal {

/// Bytes of a line, all in all, and of its parts. A longer part is cut, and says so.
constexpr std::size_t LIGNE_MAX = 8192;
constexpr std::size_t FICHIER_MAX = 128;
constexpr std::size_t FONCTION_MAX = 1024;
constexpr std::size_t MESSAGE_MAX =
    LIGNE_MAX - FONCTION_MAX - FICHIER_MAX - 128; // the rest: time, thread, numbers
/// Bytes of the lines that wait, all in all.
constexpr std::size_t ATTENTE_MAX = std::size_t{16} << 20;

/// Appends to the file from now on; an empty name: the standard error. Throws std::exception when the file
/// cannot be written, and the lines go where they went. A file that is made may be read by its group, and by
/// nobody else.
/// capacite: how many lines may wait for a thread of the log's own, which writes them. When that many wait,
/// or ATTENTE_MAX bytes, each new one takes the place of the oldest: whoever traces never waits for the disk.
/// Lost lines are counted, and their number is written. 0: each line is written and flushed by the thread
/// that traces it.
void ouvrir(const std::string& fichier, std::size_t capacite);
/// Back to the standard error, without waiting lines, the file being complete.
void fermer() noexcept;

/// Lines that were lost since the process began.
unsigned long long perdues() noexcept;

/// Throws nothing of the log's: a full disk takes lines, not the process. The texts of the line are safe, and
/// no longer than above.
void ecrire(const LigneTrace& ligne);

} // namespace orix::journal

#endif
