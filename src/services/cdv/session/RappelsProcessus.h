#ifndef CDV_RAPPELSPROCESSUS_H
#define CDV_RAPPELSPROCESSUS_H

namespace cdv {

/// Throws Erreur when the library calls callbacks of another file of the process than this one's: of several
/// definitions of OXcdvCliCB the first that was loaded wins, and a session would never hear anything.
void exigerRappels();

} // namespace cdv

#endif
