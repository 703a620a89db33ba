#ifndef TRANSCRIPTION_H
#define TRANSCRIPTION_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace essais {

/// Compares what was written down with that file of tests/unit. With OXCDV_ACCEPTER in the environment the
/// file becomes what was written down, to be looked at and committed.
inline void comparerTranscription(const std::string& nom, const std::string& texte)
{
    const std::string fichier = OXCDV_SOURCES "/tests/unit/" + nom;
    std::ostringstream attendu;
    attendu << std::ifstream(fichier).rdbuf();
    EXPECT_EQ(attendu.str(), texte) << "as in " << fichier;
    if (std::getenv("OXCDV_ACCEPTER") != nullptr)
        std::ofstream(fichier) << texte;
}

} // namespace essais

#endif
