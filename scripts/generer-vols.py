#!/usr/bin/env python3
"""Writes exemples/vols.csv: one day of flights at Toulouse-Blagnac (LFBO), about 200, made up but plausible.

The same seed gives the same file. Columns are fields of the flight record, named without their "m_g" prefix; an
empty cell is a field that is not set. Times are UTC, "HHMM"; masses in kilograms.

Usage: scripts/generer-vols.py > exemples/vols.csv
"""
import csv
import random
import sys

JOUR = "20261121"
TERRAIN = "LFBO"
VOLS = 200

# operator: (IATA prefix, registration pattern, aircraft types, aerodromes served)
EXPLOITANTS = {
    "AFR": ("AF", "F-G", ["A318", "A319", "A320", "A321"], ["LFPG", "LFPO", "LFLL", "LFBD"]),
    "EZY": ("U2", "G-E", ["A319", "A320", "A20N"], ["LFPG", "EGKK", "LFLL", "LSGG", "LFSB", "EGGW"]),
    "RYR": ("FR", "EI-", ["B738", "B38M"], ["EGSS", "EIDW", "LEMD", "LIME", "EBCI"]),
    "DLH": ("LH", "D-A", ["A319", "A320", "A20N"], ["EDDF", "EDDM"]),
    "BAW": ("BA", "G-E", ["A319", "A320"], ["EGLL"]),
    "KLM": ("KL", "PH-", ["E75L", "E190"], ["EHAM"]),
    "VOE": ("V7", "EC-", ["A319", "A320"], ["LFRS", "LFRB", "LFSB", "LFMN", "LFQQ"]),
    "IBE": ("IB", "EC-", ["CRJX", "A320"], ["LEMD"]),
    "BOX": ("3S", "D-A", ["B77L"], ["EDDP"]),
}
# ICAO type: (seats, maximum take-off mass, wake category, approach category, rescue category)
AVIONS = {
    "A318": (131, 68000, "M", "C", "6"), "A319": (144, 75500, "M", "C", "6"), "A320": (180, 78000, "M", "C", "6"),
    "A20N": (186, 79000, "M", "C", "6"), "A321": (212, 93500, "M", "C", "7"), "B738": (189, 79015, "M", "D", "7"),
    "B38M": (197, 82190, "M", "D", "7"), "E75L": (88, 40370, "M", "C", "5"), "E190": (100, 51800, "M", "C", "6"),
    "CRJX": (100, 41640, "M", "C", "6"), "B77L": (0, 347450, "H", "C", "9"),
}
COLONNES = [
    "identifiant", "realisation", "aerod_dep", "aerod_dest", "date_prev_mvt", "heure_prev_mvt", "sens_mvt",
    "indicatif", "exploitant_1", "numero_ligne_1", "bigramme_dgac", "immatriculation", "nature", "type_exploitant",
    "heure_dep_reelle", "heure_arr_reelle", "aerod_arr_reel", "type_oaci", "cat_aeronef", "masse_max", "cat_ssis",
    "piste", "visibilite", "regle_vol", "approche", "parking", "nb_aeronef", "sieges_offerts", "pax_transit",
    "adresse_mode_S",
]


def hhmm(minutes):
    return f"{minutes // 60 % 24:02d}{minutes % 60:02d}"


def main():
    hasard = random.Random(1903)
    poids = [5, 5, 3, 2, 2, 1, 2, 1, 1]
    sortie = csv.DictWriter(sys.stdout, COLONNES, lineterminator="\n")
    sortie.writeheader()
    heures = sorted(hasard.randrange(5 * 60, 23 * 60) for _ in range(VOLS))
    for rang, prevue in enumerate(heures):
        exploitant = hasard.choices(list(EXPLOITANTS), poids)[0]
        prefixe, matricule, types, terrains = EXPLOITANTS[exploitant]
        avion = hasard.choice(types)
        sieges, masse, sillage, approche, ssis = AVIONS[avion]
        depart = rang % 2 == 0
        autre = hasard.choice(terrains)
        numero = str(hasard.randrange(100, 9999))
        retard = max(-8, int(hasard.gauss(6, 14)))
        realise = prevue < 18 * 60
        lettres = "".join(hasard.choice("ABCDEFGHIJKLMNOPQRSTUVWXYZ") for _ in range(5 - len(matricule.replace("-", ""))))
        sortie.writerow({
            "identifiant": f"{JOUR}{'D' if depart else 'A'}{exploitant}{numero}-{rang:03d}",
            "realisation": "R" if realise else "P",
            "aerod_dep": TERRAIN if depart else autre,
            "aerod_dest": autre if depart else TERRAIN,
            "date_prev_mvt": JOUR,
            "heure_prev_mvt": hhmm(prevue),
            "sens_mvt": "D" if depart else "A",
            "indicatif": exploitant + numero,
            "exploitant_1": exploitant,
            "numero_ligne_1": numero,
            "bigramme_dgac": prefixe,
            "immatriculation": matricule + lettres,
            "nature": "FRT" if sieges == 0 else "REG",
            "type_exploitant": "COM",
            "heure_dep_reelle": hhmm(prevue + retard) if realise and depart else "",
            "heure_arr_reelle": hhmm(prevue + retard) if realise and not depart else "",
            "aerod_arr_reel": TERRAIN if realise and not depart else "",
            "type_oaci": avion,
            "cat_aeronef": sillage,
            "masse_max": str(masse),
            "cat_ssis": ssis,
            "piste": hasard.choice(["14L", "14R", "32L", "32R"]),
            "visibilite": "9999" if hasard.random() < 0.8 else "0800",
            "regle_vol": "I",
            "approche": approche if not depart else "",
            "parking": f"{hasard.choice('ABCDE')}{hasard.randrange(1, 30):02d}",
            "nb_aeronef": "1",
            "sieges_offerts": str(sieges) if sieges else "",
            "pax_transit": "0" if sieges else "",
            "adresse_mode_S": f"{hasard.randrange(0x380000, 0x4CAFFF):06X}",
        })


if __name__ == "__main__":
    main()
