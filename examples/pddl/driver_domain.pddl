; Drivers walk, trucks drive, parcels ride.
;
; What it shows: static predicates, which keep the ground problem small.
(define (domain drivers)
  (:requirements :typing :durative-actions)
  (:types place driver truck parcel)
  (:predicates (road ?a ?b - place) (path ?a ?b - place)
    (driver-in ?d - driver ?p - place) (truck-in ?t - truck ?p - place)
    (parcel-in ?o - parcel ?p - place) (loaded ?o - parcel ?t - truck)
    (drives ?d - driver ?t - truck) (empty ?t - truck))
  (:durative-action walk
    :parameters (?d - driver ?a ?b - place)
    :duration (= ?duration 20)
    :condition (and (at start (driver-in ?d ?a)) (at start (path ?a ?b)))
    :effect (and (at start (not (driver-in ?d ?a))) (at end (driver-in ?d ?b))))
  (:durative-action board
    :parameters (?d - driver ?t - truck ?p - place)
    :duration (= ?duration 1)
    :condition (and (over all (truck-in ?t ?p)) (at start (driver-in ?d ?p)) (at start (empty ?t)))
    :effect (and (at start (not (driver-in ?d ?p))) (at start (not (empty ?t)))
      (at end (drives ?d ?t))))
  (:durative-action drive
    :parameters (?t - truck ?d - driver ?a ?b - place)
    :duration (= ?duration 10)
    :condition (and (at start (truck-in ?t ?a)) (over all (drives ?d ?t)) (at start (road ?a ?b)))
    :effect (and (at start (not (truck-in ?t ?a))) (at end (truck-in ?t ?b))))
  (:durative-action load
    :parameters (?o - parcel ?t - truck ?p - place)
    :duration (= ?duration 2)
    :condition (and (over all (truck-in ?t ?p)) (at start (parcel-in ?o ?p)))
    :effect (and (at start (not (parcel-in ?o ?p))) (at end (loaded ?o ?t))))
  (:durative-action unload
    :parameters (?o - parcel ?t - truck ?p - place)
    :duration (= ?duration 2)
    :condition (and (over all (truck-in ?t ?p)) (at start (loaded ?o ?t)))
    :effect (and (at start (not (loaded ?o ?t))) (at end (parcel-in ?o ?p)))))
