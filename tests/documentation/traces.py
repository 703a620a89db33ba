#!/usr/bin/env python3
"""Compares the traces of levels 100 and 300 in the sources with the tables of docs/exploitation.md.

Each message of the sources is a row there, and each row a message of the sources. What a message inserts stands as "…".
Usage: traces.py SOURCE_FOLDER
"""
import pathlib
import re
import sys

# What traces, and which argument is the text; its level is the first argument, or the one given here.
APPELS = {
    "ORIX_TRACE": (3, None),
    "ORIX_TRACE_SANS_ECHEC": (3, None),
    "TRACER": (2, None),
    "TRACER_SANS_ECHEC": (2, None),
    "SIGNALER": (1, 100),            # OXcdvServeurVersClientImplementation
    "verifierActivation": (0, 300),  # OXcdvCliItfAdaptateur
    "_refuser": (2, 300),            # Automate
}
PROPRES = {"_refuser": "Automate"}  # the name means something else in other files
NIVEAUX = {"NTO_NOTABLE": 100, "NTO_REFUS": 300}
DOSSIERS = ("src", "plateforme", "serveur", "outils/src")
CONSTANTE = re.compile(r'^const std::string (\w+) =\s*("(?:[^"\\]|\\.)*");', re.M)
LITTERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')


def arguments(texte, debut):
    """The arguments of the call whose parenthesis opens at debut, cut at the commas outside everything else."""
    profondeur, resultat = 0, [""]
    for lexeme in re.compile(r'"(?:[^"\\]|\\.)*"|.', re.S).finditer(texte, debut):
        c = lexeme.group()
        profondeur += (c in "([{") - (c in ")]}")
        if profondeur == 0:
            return resultat
        if c == "," and profondeur == 1:
            resultat.append("")
        elif lexeme.start() > debut:
            resultat[-1] += c
    return []


def modele(expression):
    """The literals of the expression, "…" for what stands between them."""
    expression = re.sub(r'"\s+"', "", expression)  # adjacent literals are one
    morceaux, fin = [], 0
    for litteral in LITTERAL.finditer(expression):
        if re.search(r"\w", expression[fin:litteral.start()]):
            morceaux.append("…")
        morceaux.append(litteral.group(1).replace('\\"', '"'))
        fin = litteral.end()
    if re.search(r"\w", expression[fin:]):
        morceaux.append("…")
    return re.sub("…+", "…", "".join(morceaux)).strip()


def messages_des_sources(racine):
    trouves = set()
    for dossier in DOSSIERS:
        for fichier in sorted((racine / dossier).rglob("*")):
            if fichier.suffix not in (".h", ".cpp", ".inc"):
                continue
            texte = re.sub(r"\\\n", "\n", fichier.read_text(encoding="utf-8"))
            texte = re.sub(r"^\s*#\s*define (TRACER|SIGNALER|DETAIL|ORIX_TRACE).*\n(?:.*ORIX_TRACE\(niveau.*\n)?", "", texte, flags=re.M)
            texte = re.sub(r"(?<!:)//[^\n]*", "", texte)
            source = re.sub("^(OXcdvCliItfAdaptateur).*", r"\1", fichier.stem)  # several files of one source
            constantes = dict(CONSTANTE.findall(texte))
            for appel in re.finditer(r"\b(" + "|".join(APPELS) + r")\s*\(", texte):
                rang, niveau = APPELS[appel.group(1)]
                if PROPRES.get(appel.group(1), fichier.stem) != fichier.stem:
                    continue
                args = arguments(texte, appel.end() - 1)
                if len(args) <= rang or (niveau is not None and re.search(r"\b(const|int)\b", args[0])):
                    continue  # a declaration
                if niveau is None:
                    niveau = NIVEAUX.get(args[0].strip().split("::")[-1])
                if niveau is not None:
                    message = ",".join(args[rang:])
                    trouves.add((source, niveau, modele(constantes.get(message.strip(), message))))
    return trouves


def messages_du_document(racine):
    lignes = (racine / "docs/exploitation.md").read_text(encoding="utf-8").splitlines()
    rangs = [re.match(r"\| `(\w+)` \| (100|300) \| `` ?(.*?) ?`` \| (.*) \| (.*) \|$", ligne) for ligne in lignes]
    return {(r.group(1), int(r.group(2)), r.group(3)): (r.group(4), r.group(5)) for r in rangs if r}


def main():
    racine = pathlib.Path(sys.argv[1])
    sources = messages_des_sources(racine)
    document = messages_du_document(racine)
    fautes = {"has no row for": sources - document.keys(), "explains what no source says": document.keys() - sources,
              "gives no cause or no remedy": {cle for cle, textes in document.items() if not all(t.strip() for t in textes)}}
    for quoi, cles in fautes.items():
        for source, niveau, texte in sorted(cles):
            print(f"docs/exploitation.md {quoi}: | `{source}` | {niveau} | `` {texte} `` |")
    return 1 if any(fautes.values()) else 0


sys.exit(main())
