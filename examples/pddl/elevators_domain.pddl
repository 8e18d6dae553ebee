; A lift brings people to their floors.
;
; What it shows: durations that come from a function. No action writes it, so it is a constant of the
; problem.
(define (domain elevators)
  (:requirements :typing :durative-actions :equality :negative-preconditions)
  (:types lift floor person)
  (:predicates (lift-on ?l - lift ?f - floor) (waits-on ?p - person ?f - floor)
    (inside ?p - person ?l - lift))
  (:functions (travel-time ?from ?to - floor))
  (:durative-action move
    :parameters (?l - lift ?from ?to - floor)
    :duration (= ?duration (travel-time ?from ?to))
    :condition (and (at start (lift-on ?l ?from)) (at start (not (= ?from ?to))))
    :effect (and (at start (not (lift-on ?l ?from))) (at end (lift-on ?l ?to))))
  (:durative-action board
    :parameters (?p - person ?l - lift ?f - floor)
    :duration (= ?duration 1)
    :condition (and (at start (waits-on ?p ?f)) (over all (lift-on ?l ?f)))
    :effect (and (at start (not (waits-on ?p ?f))) (at end (inside ?p ?l))))
  (:durative-action leave
    :parameters (?p - person ?l - lift ?f - floor)
    :duration (= ?duration 1)
    :condition (and (at start (inside ?p ?l)) (over all (lift-on ?l ?f)))
    :effect (and (at start (not (inside ?p ?l))) (at end (waits-on ?p ?f)))))
