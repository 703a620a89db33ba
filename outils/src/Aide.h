#ifndef AIDE_H
#define AIDE_H

/// @file
/// What --help says at more length than a line.

namespace outils::aide {

constexpr const char* PRESENTATION =
    "Commande du service cdv : crée, lit, modifie et surveille des vols complets.";

constexpr const char* COMPLEMENT = R"(Champs :
  champ=valeur   nom du champ avec ou sans « m_g » : parking=B12, m_gparking=B12 ; les codes
                 de statut : code_stat_depart.code=OUV. « cdv --champs » les donne tous.
  champ=         la chaîne vide, qui est une valeur comme une autre
  un mot seul    l'identifiant : « cdv consulter X » vaut « cdv consulter identifiant=X »

Statuts de sortie :
  0    fait
  1    le serveur a refusé, ou des lignes ont été rejetées
  2    mauvais usage : ligne de commande, configuration, fichier
  3    pas de connexion
  4    connexion ou réponse perdue pendant le travail
  5    etat : un serveur sur deux est actif
  130  interrompu (Ctrl-C)

Exemples :
  cdv etat
  cdv creer 20261121DAFR012-000 indicatif=AFR012 aerod_dep=LFBO aerod_dest=LFPG --point AGEN
  cdv modifier 20261121DAFR012-000 parking=B12
  cdv lister 'indicatif=AFR*'
  cdv exporter vols.csv
  cdv importer vols.csv --rejets rejets.csv --url serveur1:2809 --url serveur2:2809

Sans --config ni --url, la commande lit le fichier que nomme la variable CDV_CONFIG, sinon
s'adresse au serveur local, 127.0.0.1:2809. Chaque commande a son aide : cdv importer --help.)";

constexpr const char* EXPLICATION_EFFACER = R"(Valeur vide et champ absent :
  parking=            envoie la chaîne vide ; le champ vaut alors « »
  --effacer parking   retire le champ de ce qui est envoyé : il n'est pas renseigné
Un vol créé n'a pas les champs retirés.)";

constexpr const char* EXPLICATION_MODIFIER =
    R"(Le serveur remplace les champs envoyés, et les listes qui ne sont pas vides ; il laisse tout
le reste comme il est.

Valeur vide et champ absent :
  parking=            donne au champ la chaîne vide
  --effacer parking   retire le champ de ce qui est envoyé (il venait de --json) : le serveur
                      le laisse comme il est
Le service n'a pas de demande qui rende un champ à nouveau absent : une modification ne peut
pas le faire. Pour cela : cdv supprimer, puis cdv creer --json avec --effacer.

« cdv modifier - » modifie les vols de l'entrée standard : cdv importer - --demande modifier.)";

constexpr const char* EXPLICATION_PLUSIEURS =
    R"(« cdv supprimer - » supprime les vols de l'entrée standard, CSV ou JSON, en une connexion ; seul leur
identifiant compte. C'est cdv importer - --demande supprimer, qui a d'autres options.

Exemple :
  cdv lister 'date_prev_mvt<20261101' --format json | cdv supprimer -)";

constexpr const char* EXPLICATION_EXEMPLE =
    R"(Seuls les vols qui répondent à tous les critères sont rendus :
  champ=valeur        égal ; « * » est n'importe quelle suite : indicatif=AFR*, parking=*2
  champ!=valeur       autre, ou absent
  champ>n champ<=n    un nombre, une date ou une heure : 'heure_prev_mvt>=0800' ; un champ qui
                      n'en contient pas n'est pas rendu
« \* » est l'étoile elle-même. Le service cherche les valeurs entières et les débuts ; le reste est
regardé ici, dans ce qu'il rend.)";

constexpr const char* EXPLICATION_ETAT =
    R"(Statut de sortie : 0 chaque serveur est actif, 5 un sur deux (service dégradé), 3 aucun ; avec
--tous, 3 dès qu'un serveur n'est pas actif.)";

constexpr const char* EXPLICATION_IMPORT =
    R"(CSV : UTF-8, RFC 4180 ; des virgules, points-virgules ou tabulations, comme en a l'en-tête ; colonnes
au choix parmi les champs, « points » et « changements » (en JSON). Une cellule vide est un champ
absent, "" est la chaîne vide.
JSON : un objet par ligne, comme « cdv lister --format json » les écrit.
Une ligne fautive est dite avec son numéro et la raison, et l'importation continue. De même quand un
serveur est perdu : ce qui est resté sans réponse est redemandé à l'autre, ou au même s'il revient ;
une création dont nul ne sait si elle est faite est relue et comparée. Les lignes
rejetées vont telles quelles dans le fichier de rejets, qui peut être corrigé et importé.
Ctrl-C attend les réponses en cours, puis dit avec quelles options reprendre ; un second Ctrl-C
abandonne.

Exemples :
  cdv importer vols.csv --rejets rejets.csv
  cdv importer vols.csv --depuis 1042 --existants ignorer
  cdv importer corrections.csv --demande modifier
  zcat vols.json.gz | cdv importer -)";

constexpr const char* EXPLICATION_EXPORT =
    R"(Le format est celui de --format, sinon celui du nom (.json, .jsonl), sinon CSV. Le fichier n'est
remplacé qu'une fois complet : d'ici là, les vols sont dans FICHIER.partiel.
Quand un serveur est perdu, la liste est redemandée à l'autre, ou au même s'il revient ; chaque vol
est écrit une fois.

Exemples :
  cdv exporter vols.csv
  cdv exporter - 'indicatif=AFR*' --format json | gzip > afr.json.gz
  cdv exporter vols.csv --depuis 120001      (après une interruption))";

} // namespace outils::aide

#endif
