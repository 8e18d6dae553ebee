; Fuses in a dark cellar are mended by the light of matches, one at a time.
;
; What it shows: an effect that holds only while another action runs, so that the actions must overlap.
(define (domain match-cellar)
  (:requirements :typing :durative-actions)
  (:types match fuse)
  (:predicates (light) (hand-free) (unused ?m - match) (mended ?f - fuse))
  (:durative-action light-match
    :parameters (?m - match)
    :duration (= ?duration 5)
    :condition (at start (unused ?m))
    :effect (and (at start (not (unused ?m))) (at start (light)) (at end (not (light)))))
  (:durative-action mend-fuse
    :parameters (?f - fuse)
    :duration (= ?duration 2)
    :condition (and (at start (hand-free)) (over all (light)))
    :effect (and (at start (not (hand-free))) (at end (mended ?f)) (at end (hand-free)))))
