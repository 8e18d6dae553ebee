; The ferry runs while the tide is high.
;
; What it shows: timed initial literals, facts that are known beforehand.
(define (domain ferry)
  (:requirements :typing :durative-actions)
  (:types shore)
  (:predicates (high-tide) (ferry-on ?s - shore) (waits-on ?s - shore) (aboard))
  (:durative-action cross
    :parameters (?from ?to - shore)
    :duration (= ?duration 4)
    :condition (and (at start (ferry-on ?from)) (over all (high-tide)))
    :effect (and (at start (not (ferry-on ?from))) (at end (ferry-on ?to))))
  (:durative-action embark
    :parameters (?s - shore)
    :duration (= ?duration 1)
    :condition (and (at start (waits-on ?s)) (over all (ferry-on ?s)))
    :effect (and (at start (not (waits-on ?s))) (at end (aboard))))
  (:durative-action land
    :parameters (?s - shore)
    :duration (= ?duration 1)
    :condition (and (at start (aboard)) (over all (ferry-on ?s)))
    :effect (and (at start (not (aboard))) (at end (waits-on ?s)))))
