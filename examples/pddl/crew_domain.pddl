; A crew wakes up, has breakfast, does its jobs and sleeps again.
;
; What it shows: deadlines by timed literals, and a resource, the oven, that is used by one at a time.
(define (domain crew)
  (:requirements :typing :durative-actions)
  (:types person job)
  (:predicates (oven-free) (awake ?p - person) (fed ?p - person) (idle ?p - person)
    (done ?j - job) (shift))
  (:functions (work-of ?j - job))
  (:durative-action breakfast
    :parameters (?p - person)
    :duration (= ?duration 15)
    :condition (and (at start (awake ?p)) (at start (oven-free)))
    :effect (and (at start (not (oven-free))) (at end (oven-free)) (at end (fed ?p))
      (at end (idle ?p))))
  (:durative-action work
    :parameters (?p - person ?j - job)
    :duration (= ?duration (work-of ?j))
    :condition (and (at start (fed ?p)) (at start (idle ?p)) (over all (shift)))
    :effect (and (at start (not (idle ?p))) (at end (idle ?p)) (at end (done ?j)))))
