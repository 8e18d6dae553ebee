; Cars stand at kerbs, one behind another, and have to be put in another order.
;
; What it shows: a puzzle in which every action takes the places it needs at its start.
(define (domain parking)
  (:requirements :typing :durative-actions)
  (:types car kerb)
  (:predicates (at-kerb ?c - car ?k - kerb) (behind ?c ?front - car) (car-clear ?c - car)
    (kerb-clear ?k - kerb))
  (:durative-action kerb-to-kerb
    :parameters (?c - car ?from ?to - kerb)
    :duration (= ?duration 1)
    :condition (and (at start (car-clear ?c)) (at start (kerb-clear ?to))
      (at start (at-kerb ?c ?from)))
    :effect (and (at start (not (kerb-clear ?to))) (at start (not (at-kerb ?c ?from)))
      (at end (kerb-clear ?from)) (at end (at-kerb ?c ?to))))
  (:durative-action kerb-to-car
    :parameters (?c - car ?from - kerb ?to - car)
    :duration (= ?duration 2)
    :condition (and (at start (car-clear ?c)) (at start (car-clear ?to))
      (at start (at-kerb ?c ?from)) (at start (not (= ?c ?to))))
    :effect (and (at start (not (car-clear ?to))) (at start (not (at-kerb ?c ?from)))
      (at end (kerb-clear ?from)) (at end (behind ?c ?to))))
  (:durative-action car-to-kerb
    :parameters (?c - car ?from - car ?to - kerb)
    :duration (= ?duration 2)
    :condition (and (at start (car-clear ?c)) (at start (kerb-clear ?to))
      (at start (behind ?c ?from)))
    :effect (and (at start (not (kerb-clear ?to))) (at start (not (behind ?c ?from)))
      (at end (car-clear ?from)) (at end (at-kerb ?c ?to)))))
