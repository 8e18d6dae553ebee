; Fuses are mended by the light of matches.
(define (domain cellar)
  (:requirements :typing :durative-actions)
  (:types match fuse)
  (:predicates (light) (hand-free) (unused ?m - match) (mended ?f - fuse))
  (:functions (time-to-mend ?f - fuse))
  (:durative-action light-match
    :parameters (?m - match)
    :duration (= ?duration 5)
    :condition (and (at start (unused ?m)) (over all (light)))
    :effect (and (at start (not (unused ?m))) (at start (light)) (at end (not (light)))))
  (:durative-action mend-fuse
    :parameters (?f - fuse)
    :duration (= ?duration (time-to-mend ?f))
    :condition (and (at start (hand-free)) (over all (light)))
    :effect (and (at start (not (hand-free))) (at end (mended ?f)) (at end (hand-free)))))
