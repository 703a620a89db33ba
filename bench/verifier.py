#!/usr/bin/env python3
"""Runs the whole comparison with a handful of records: every run that it announces must leave its line, once, with
figures that make sense, and every peer that was built must take part.

Usage: verifier.py COMPARER PEER..."""

import collections
import json
import pathlib
import subprocess
import sys
import tempfile


def cle(ligne):
    return ligne["mesure"], ligne["systeme"], ligne["tour"], ligne.get("x")


def lignes(texte):
    return [json.loads(ligne) for ligne in texte.splitlines()]


def exiger(condition, message):
    if not condition:
        sys.exit(f"verifier.py: {message}")


def main():
    comparer, pairs = sys.argv[1], sys.argv[2:]
    commande = [comparer, "--tours", "2", "--nombre", "200"]
    with tempfile.TemporaryDirectory() as dossier:
        jsonl = pathlib.Path(dossier) / "lignes"
        annonce = subprocess.run(commande + ["--liste"], check=True, capture_output=True, text=True).stdout
        table = subprocess.run(commande + ["--jsonl", str(jsonl)], check=True, capture_output=True, text=True).stdout
        mesurees = lignes(jsonl.read_text())

    annoncees = collections.Counter(map(cle, lignes(annonce)))
    faites = collections.Counter(map(cle, mesurees))
    exiger(annoncees == faites, f"announced but not measured: {annoncees - faites}; the contrary: {faites - annoncees}")
    for pair in pairs:
        for mesure in ("envoi", "envoi_occupe", "rappel_64", "rappel_1", "rappel_1_charge"):
            exiger((mesure, pair, 2, None) in faites, f"{pair} takes no part in {mesure}")
    for ligne in mesurees:
        exiger(ligne["debit"] > 0 and ligne["cpu_us"] > 0, f"no sensible figures in {ligne}")
        if ligne["mesure"].startswith("rappel"):
            exiger(0 < ligne["p50_us"] <= ligne["p99_us"], f"no sensible durations in {ligne}")
    for titre in ("Sending, no answer", "Objectives", "Memory of the client", "Application threads"):
        exiger(titre in table, f"no table '{titre}'")
    print(f"{len(mesurees)} runs, each with its line")


if __name__ == "__main__":
    main()
