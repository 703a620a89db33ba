#!/usr/bin/env python3
"""Puts the results of scripts/bench.sh into the documentation: tables between two marks of docs/performance.md, and the
two figures beside it (with gnuplot; without it they stay as they are).

Usage: publier.py RESULTS_FOLDER DOCS_FOLDER"""

import collections
import json
import pathlib
import shutil
import statistics
import subprocess
import sys

DEBUT, FIN = "<!-- results: begin -->", "<!-- results: end -->"
COURBES = (  # measure, label of its axis, logarithmic axes
    ("champs", "texts set, of 55", ""),
    ("longueur", "bytes of a text", "xy"),
    ("en-vol", "requests in flight", "x 2"),
    ("fils", "application threads", "x 2"),
)
DEBIT, PROCESSEUR = ("debit", 1000, "k records/s"), ("cpu_us", 1, "client CPU, us a record")
BARRES = (  # measure, title, figure
    ("envoi", "sending, no answer", DEBIT),
    ("envoi_occupe", "sending to a busy server", PROCESSEUR),
    ("rappel_64", "to callback, 64 in flight", DEBIT),
)


def medianes(mesures, nom, figure):
    """Medians of that figure in that measure, by (system, x)."""
    grandeur, unite, _ = figure
    valeurs = collections.defaultdict(list)
    for mesure in mesures:
        if mesure["mesure"] == nom:
            valeurs[mesure["systeme"], mesure.get("x")].append(mesure[grandeur] / unite)
    return {cle: statistics.median(toutes) for cle, toutes in valeurs.items()}


def bloc(nom, lignes):
    return [f"${nom} << EOD", *lignes, "EOD"]


def barres(mesures):
    """The systems side by side, one panel a measure."""
    script = [f"set multiplot layout {len(BARRES)},1", "set style fill solid 0.7", "set boxwidth 0.7", "unset key",
              "set yrange [0:*]", "set rmargin 15", "set grid y", "set xtics rotate by -30 noenhanced"]
    for nom, titre, figure in BARRES:
        lignes = [f"{rang} {systeme} {valeur} {1 if systeme.startswith('facade') else 2}"
                  for rang, ((systeme, _), valeur) in enumerate(medianes(mesures, nom, figure).items())]
        if lignes:
            script += bloc(nom, lignes)
            script += [f"set title '{titre}'", f"set ylabel '{figure[2]}'",
                       f"plot ${nom} using 1:3:4:xtic(2) with boxes lc variable"]
    return script, "900,1000"


def courbes(mesures):
    """The library and the bare ORB, one panel a curve."""
    script = ["set multiplot layout 2,2", f"set ylabel '{DEBIT[2]}'", "set grid", "set key bottom"]
    for mesure, axe, log in COURBES:
        points = medianes(mesures, mesure, DEBIT)
        if not points:
            continue
        nom = mesure.replace("-", "_")
        script += ["unset logscale", "set yrange [*:*]" if "y" in log else "set yrange [0:*]"]
        if log:
            script.append(f"set logscale {log}")
        for systeme in ("facade", "omniorb"):
            script += bloc(f"{nom}_{systeme}", (f"{x} {v}" for (s, x), v in sorted(points.items()) if s == systeme))
        script += [f"set xlabel '{axe}'",
                   f"plot ${nom}_facade with linespoints title 'libOXcdvCli', "
                   f"${nom}_omniorb with linespoints title 'omniORB, struct ready'"]
    return script, "900,700"


def tracer(script, taille, fichier):
    entete = [f"set terminal svg size {taille} font 'sans,12' background 'white'", f"set output '{fichier}'"]
    subprocess.run(["gnuplot"], input="\n".join(entete + script) + "\n", text=True, check=True)


def tableau_processus(fichier):
    """What Google Benchmark measured, as a table."""
    lignes = ["### Inside one process", "", "| Operation | time, ns | allocations |", "| --- | --- | --- |"]
    memoire = ["", "| Memory of an idle record | bytes | beyond its texts |", "| --- | --- | --- |"]
    for mesure in json.loads(fichier.read_text())["benchmarks"]:
        if mesure.get("run_type") == "aggregate" and mesure["aggregate_name"] != "median":
            continue
        nom = mesure["run_name"].replace("/real_time", "").replace("/iterations:20", "")
        if "octets" in mesure:
            figures = (f"{mesure[grandeur]:.0f}" for grandeur in ("octets", "hors_textes"))
            memoire.append(f"| {nom} | {' | '.join(figures)} |")
        else:
            lignes.append(f"| {nom} | {mesure['real_time']:.1f} | {mesure['allocs']:.0f} |")
    return "\n".join(lignes + memoire)


def main():
    resultats, docs = map(pathlib.Path, sys.argv[1:])
    page = docs / "performance.md"
    avant, reste = page.read_text().split(DEBUT)
    apres = reste.split(FIN)[1]
    corps = "\n\n".join((
        (resultats / "contexte.txt").read_text().strip(),
        (resultats / "comparaison.md").read_text().strip(),
        (resultats / "serveur.md").read_text().strip(),
        (resultats / "foule.md").read_text().strip(),
        tableau_processus(resultats / "enprocessus.json"),
    ))
    page.write_text(f"{avant}{DEBUT}\n{corps}\n{FIN}{apres}")

    if not shutil.which("gnuplot"):
        print("publier.py: without gnuplot, the figures stay as they are", file=sys.stderr)
        return
    mesures = [json.loads(ligne) for ligne in (resultats / "comparaison.jsonl").read_text().splitlines()]
    tracer(*barres(mesures), docs / "performance-comparaison.svg")
    tracer(*courbes(mesures), docs / "performance-courbes.svg")


if __name__ == "__main__":
    main()
