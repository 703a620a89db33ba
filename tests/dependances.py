#!/usr/bin/env python3
"""Who may include whom: each #include of the tree is found in the tree, and each folder includes only what is below it.

What users get stands alone: an installed header includes installed ones and the standard library.
Usage: dependances.py SOURCE_FOLDER INSTALLED_HEADER...
"""
import os.path
import pathlib
import re
import sys

# The layers, and what each may include besides itself. Two are no folder: what is installed, wherever it stands, and
# what is generated from the IDL of the service.
INSTALLES, STUBS = "installed headers", "stubs of the service"
SERVICE = "src/services/cdv/groupe1"
MIDDLEWARE = {"orb", "plateforme"}
COUCHES = {
    "orb": set(),
    "plateforme": {"orb"},
    "src/noyau/systeme": set(),
    "src/noyau": {"src/noyau/systeme"} | MIDDLEWARE,
    SERVICE: {"src/noyau/systeme", "src/noyau", STUBS} | MIDDLEWARE,
    "src/services/cdv/session": {INSTALLES},
    "src/services/cdv/essais": {INSTALLES},
    "outils": {INSTALLES},
    "exemples": {INSTALLES},
    "serveur": {STUBS, INSTALLES} | MIDDLEWARE,
}
LIBRES = ("bench", "fuzz", "tests")  # reach inside everything; nobody includes them
INCLUSION = re.compile(r'\s*#\s*include\s*(["<])([^">]+)[">]')
ORB = re.compile("omni|COS|tao/")


def couche(chemin):
    if chemin.endswith(".idl") and chemin.startswith(SERVICE):
        return STUBS
    return max((d for d in (*COUCHES, *LIBRES) if chemin.startswith(d + "/")), key=len, default=None)


class Arbre:
    def __init__(self, racine, installes):
        self.racine, self.installes = racine, installes
        self.sources, self.interfaces = set(), {}
        for chemin in (f.relative_to(racine).as_posix() for f in racine.rglob("*.*")):
            if re.search(r"^(?!\.|build).*\.(h|cpp|inc)$", chemin):
                self.sources.add(chemin)
            elif chemin.endswith((".idl", ".proto", ".ice")):  # headers are generated from them
                self.interfaces[pathlib.PurePath(chemin).stem] = chemin

    def trouver(self, nom, depuis):
        """Every file that the name may mean."""
        voisin = os.path.normpath(os.path.join(os.path.dirname(depuis), nom))
        if voisin in self.sources:
            return [voisin]
        genere = self.interfaces.get(re.sub(r"[CS]?\..*", "", nom))
        return [f for f in self.sources if f.endswith("/" + nom)] or ([genere] if genere else [])

    def refus(self, fichier, crochet, nom):
        """Why the file may not include that, or None."""
        ici, public = couche(fichier), fichier in self.installes
        if crochet == "<":
            if public and "/" in nom:
                return "an installed header needs the standard library alone"
            return f"{ici}: only orb includes the ORB" if ORB.match(nom) and ici != "orb" else None
        trouves = self.trouver(nom, fichier)
        if len(trouves) != 1:
            return f"this is {' or '.join(trouves) or 'nowhere in the tree'}"
        la = couche(trouves[0])
        if public and trouves[0] not in self.installes:
            return f"an installed header, and {trouves[0]} is not installed"
        if ici in LIBRES or la == ici or la in COUCHES[ici] or (
                INSTALLES in COUCHES[ici] and trouves[0] in self.installes):
            return None
        return f"{ici} may include {', '.join(sorted(COUCHES[ici])) or 'nothing of ours'}; {trouves[0]} is of {la}"

    def fautes(self):
        for fichier in sorted(self.sources):
            if couche(fichier) is None:
                yield f"{fichier}: its folder is no layer of {sys.argv[0]}"
                continue
            for numero, ligne in enumerate((self.racine / fichier).read_text().splitlines(), 1):
                inclusion = INCLUSION.match(ligne)
                refus = self.refus(fichier, *inclusion.groups()) if inclusion else None
                if refus:
                    yield f"{fichier}:{numero}: {inclusion[2]}: {refus}"


racine = pathlib.Path(sys.argv[1]).resolve()
arbre = Arbre(racine, {pathlib.Path(f).resolve().relative_to(racine).as_posix() for f in sys.argv[2:]})
fautes = list(arbre.fautes())
print("\n".join(fautes) or f"dependances: {len(arbre.sources)} files, {len(arbre.installes)} of them installed headers")
sys.exit(1 if fautes or not arbre.installes else 0)
