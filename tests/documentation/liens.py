#!/usr/bin/env python3
"""Follows every link of the documents: its file is there, and has the heading that it names.

Usage: liens.py DOCUMENT_OR_FOLDER...
"""
import pathlib
import re
import sys


def texte(document):
    """Without what stands for itself: blocks and pieces of code."""
    return re.sub(r"^```.*?^```|`[^`\n]*`(?!\])", "", document.read_text(), flags=re.M | re.S)


def titres(document):
    return {re.sub(r"[^\w\- ]", "", titre.lower()).replace(" ", "-")
            for titre in re.findall(r"^#+ (.*)$", document.read_text(), re.M)}


documents = [d for argument in map(pathlib.Path, sys.argv[1:])
             for d in (sorted(argument.rglob("*.md")) if argument.is_dir() else [argument])]
liens, morts = 0, []
for document in documents:
    for lien in re.findall(r"\]\(([^)\s]+)\)", texte(document)):
        fichier, _, titre = lien.partition("#")
        if ":" in fichier:
            continue  # somewhere else
        liens += 1
        cible = document.parent / fichier if fichier else document
        if not cible.exists() or titre and titre not in titres(cible):
            morts.append(f"{document}: {lien} leads nowhere")
print("\n".join(morts) or f"{liens} links in {len(documents)} documents")
sys.exit(1 if morts or not liens else 0)
