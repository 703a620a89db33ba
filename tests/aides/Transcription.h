#ifndef TRANSCRIPTION_H
#define TRANSCRIPTION_H

#include "Essais.h"

namespace essais {

inline std::string lireFichier(const std::string& chemin)
{
    std::ostringstream texte;
    texte << std::ifstream(chemin).rdbuf();
    return texte.str();
}

/// Compares what was written down with that file of tests/. With OXCDV_ACCEPTER in the environment the file
/// becomes what was written down, to be looked at and committed.
inline void comparerTranscription(const std::string& nom, const std::string& texte)
{
    const std::string fichier = OXCDV_SOURCES "/tests/" + nom;
    EXPECT_EQ(lireFichier(fichier), texte) << "as in " << fichier;
    if (std::getenv("OXCDV_ACCEPTER") != nullptr)
        std::ofstream(fichier) << texte;
}

/// "\x1B" and the like are the octets that they name.
inline std::string octetsDe(std::string texte)
{
    for (std::size_t i = 0; (i = texte.find("\\x", i)) != std::string::npos; ++i)
        texte.replace(i, 4, 1, static_cast<char>(std::stoi(texte.substr(i + 2, 2), nullptr, 16)));
    return texte;
}

/// Plays the scenes of that file of tests/, which hold what is given and what comes of it: "= TITLE", lines,
/// and "> " before each line of the outcome; an empty line ends a scene, whose title goes on being that of
/// the next one. jouer makes the outcome of the title and the lines.
inline void rejouer(const std::string& nom,
                    const std::function<std::string(const std::string&, const std::string&)>& jouer)
{
    std::string texte, titre, lignes;
    const auto finir = [&] {
        std::istringstream issue(lignes.empty() ? "" : jouer(titre, std::exchange(lignes, "")));
        for (std::string ligne; std::getline(issue, ligne);)
            texte += "> " + ligne + "\n";
    };
    std::ifstream scenes(OXCDV_SOURCES "/tests/" + nom);
    for (std::string ligne; std::getline(scenes, ligne);) {
        if (ligne.empty())
            finir();
        else if (ligne.rfind("= ", 0) == 0)
            titre = ligne.substr(2);
        else if (ligne.rfind("> ", 0) == 0 || ligne == ">")
            continue;
        else if (ligne.rfind("# ", 0) != 0)
            lignes += ligne + "\n";
        texte += ligne + "\n";
    }
    finir();
    comparerTranscription(nom, texte);
}

} // namespace essais

#endif
